// Biorthogonal wavelet transform, decomposition and reconstruction.
#ifndef ZETDIP_DIPWAVELET_H
#define ZETDIP_DIPWAVELET_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipWavelet {
public:
    CDipWavelet& operator=(const CDipWavelet& other);

private:
    CDipWavelet();
    ~CDipWavelet();
};

#endif  // ZETDIP_DIPWAVELET_H
