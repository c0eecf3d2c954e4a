// Constructors, destructors and copy assignments of the classes. They hold
// no data; every destructor runs the one shared empty function.
#include "ZetDIP.h"
#include "core/common.h"

namespace zetdip::detail {
void NoOperation() noexcept {}
}  // namespace zetdip::detail

using zetdip::detail::NoOperation;

// Polymorphic classes: protected constructor and virtual destructor, public copies.
#define ZETDIP_POLYMORPHIC_SHAPE(C) \
    C::C() = default;               \
    C::C(const C&) = default;       \
    C::~C() {                       \
        NoOperation();              \
    }                               \
    C& C::operator=(const C&) {     \
        return *this;               \
    }

// Namespace classes: constructor and destructor private or protected.
#define ZETDIP_PLAIN_SHAPE(C)   \
    C::C() = default;           \
    C::~C() {                   \
        NoOperation();          \
    }                           \
    C& C::operator=(const C&) { \
        return *this;           \
    }

ZETDIP_POLYMORPHIC_SHAPE(CDipBasic)
ZETDIP_POLYMORPHIC_SHAPE(CDipHisto)
ZETDIP_POLYMORPHIC_SHAPE(CDipMorphMath)

ZETDIP_PLAIN_SHAPE(CDipClustering)
ZETDIP_PLAIN_SHAPE(CDipEnhancement)
ZETDIP_PLAIN_SHAPE(CDipFilters)
ZETDIP_PLAIN_SHAPE(CDipThickness)
ZETDIP_PLAIN_SHAPE(CDipThresholding)
ZETDIP_PLAIN_SHAPE(CDipWavelet)
ZETDIP_PLAIN_SHAPE(CDipTest)

C2dGeo& C2dGeo::operator=(const C2dGeo&) {
    return *this;
}
