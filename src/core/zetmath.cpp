#include "ZetMath.h"

#include <cmath>

float C2dGeo::GetDistanceBetweenPoints(CPoint ptA, CPoint ptB) {
    const double dx = static_cast<double>(ptA.x) - static_cast<double>(ptB.x);
    const double dy = static_cast<double>(ptA.y) - static_cast<double>(ptB.y);
    return static_cast<float>(std::sqrt(dx * dx + dy * dy));
}
