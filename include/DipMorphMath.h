// Grey-level mathematical morphology with structuring elements.
#ifndef ZETDIP_DIPMORPHMATH_H
#define ZETDIP_DIPMORPHMATH_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipMorphMath {
public:
    CDipMorphMath(const CDipMorphMath& other);
    CDipMorphMath& operator=(const CDipMorphMath& other);

protected:
    CDipMorphMath();
    virtual ~CDipMorphMath();
};

#endif  // ZETDIP_DIPMORPHMATH_H
