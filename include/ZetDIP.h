// Umbrella header of the ZetDIP library.
#ifndef ZETDIP_ZETDIP_H
#define ZETDIP_ZETDIP_H

#include "DipBasic.h"
#include "DipClustering.h"
#include "DipEnhancement.h"
#include "DipFilters.h"
#include "DipHisto.h"
#include "DipMorphMath.h"
#include "DipTest.h"
#include "DipThickness.h"
#include "DipThresholding.h"
#include "DipWavelet.h"
#include "HostFramework.h"
#include "ZetMath.h"

#endif  // ZETDIP_ZETDIP_H
