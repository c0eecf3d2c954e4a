// Plane geometry helpers used by the clustering.
#ifndef ZETDIP_ZETMATH_H
#define ZETDIP_ZETMATH_H

#include "HostFramework.h"
#include "ZetDIPExport.h"

class ZETDIP_API C2dGeo {
public:
    C2dGeo() = default;
    C2dGeo(const C2dGeo&) = default;
    C2dGeo& operator=(const C2dGeo& other);

    // Euclidean distance of two points, formed in double and returned as float.
    static float GetDistanceBetweenPoints(CPoint ptA, CPoint ptB);
};

#endif  // ZETDIP_ZETMATH_H
