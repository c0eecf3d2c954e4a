// Neighbourhood filters and breast segmentation.
#ifndef ZETDIP_DIPFILTERS_H
#define ZETDIP_DIPFILTERS_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipFilters {
public:
    CDipFilters& operator=(const CDipFilters& other);

private:
    CDipFilters();
    ~CDipFilters();
};

#endif  // ZETDIP_DIPFILTERS_H
