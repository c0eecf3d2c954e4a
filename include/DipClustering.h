// Line search, false-positive removal, microcalcifications and clusters.
#ifndef ZETDIP_DIPCLUSTERING_H
#define ZETDIP_DIPCLUSTERING_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipClustering {
public:
    CDipClustering& operator=(const CDipClustering& other);

private:
    CDipClustering();
    ~CDipClustering();
};

#endif  // ZETDIP_DIPCLUSTERING_H
