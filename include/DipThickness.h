// Image set operations and the thickness (hit-or-miss) stage.
#ifndef ZETDIP_DIPTHICKNESS_H
#define ZETDIP_DIPTHICKNESS_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipThickness {
public:
    CDipThickness& operator=(const CDipThickness& other);

private:
    CDipThickness();
    ~CDipThickness();
};

#endif  // ZETDIP_DIPTHICKNESS_H
