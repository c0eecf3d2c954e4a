// Experimental test bench.
#ifndef ZETDIP_DIPTEST_H
#define ZETDIP_DIPTEST_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipTest {
public:
    CDipTest& operator=(const CDipTest& other);

protected:
    CDipTest();
    ~CDipTest();
};

#endif  // ZETDIP_DIPTEST_H
