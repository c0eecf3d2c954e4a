// Class shapes, host-framework stand-ins and the distance function.
#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

#include "ZetDIP.h"

namespace {

template <class C>
constexpr bool kPolymorphicShape =
    std::is_polymorphic_v<C>&& std::has_virtual_destructor_v<C> &&
    !std::is_default_constructible_v<C> && std::is_copy_assignable_v<C>;

template <class C>
constexpr bool kNamespaceShape =
    !std::is_polymorphic_v<C> && !std::is_default_constructible_v<C> &&
    !std::is_destructible_v<C> && std::is_copy_assignable_v<C> && std::is_empty_v<C>;

static_assert(kPolymorphicShape<CDipBasic> && kPolymorphicShape<CDipHisto> &&
              kPolymorphicShape<CDipMorphMath>);
static_assert(kNamespaceShape<CDipClustering> && kNamespaceShape<CDipEnhancement> &&
              kNamespaceShape<CDipFilters> && kNamespaceShape<CDipThickness> &&
              kNamespaceShape<CDipThresholding> && kNamespaceShape<CDipWavelet> &&
              kNamespaceShape<CDipTest>);
static_assert(std::is_copy_assignable_v<C2dGeo>);

// Derived classes see the protected constructors and destructors.
struct TestBench : CDipTest {};
struct Basic : CDipBasic {};
static_assert(std::is_default_constructible_v<TestBench> && std::is_destructible_v<Basic>);

TEST(CArray, GrowsKeepsElementsAndZeroesNewOnes) {
    CArray<CPoint, const CPoint&> arr;
    EXPECT_TRUE(arr.IsEmpty());
    EXPECT_EQ(arr.GetUpperBound(), -1);
    for (int i = 0; i < 3000; ++i) ASSERT_EQ(arr.Add(CPoint(i, -i)), i);
    for (int i = 0; i < 3000; ++i) ASSERT_EQ(arr[i], CPoint(i, -i));
    arr.SetAt(5, CPoint(7, 7));
    arr.ElementAt(6).x = 9;
    EXPECT_EQ(arr.GetAt(5), CPoint(7, 7));
    EXPECT_EQ(arr.GetData()[6].x, 9);
    arr.SetSize(3002);
    EXPECT_EQ(arr[3001], CPoint(0, 0));
    arr.RemoveAll();
    EXPECT_EQ(arr.GetCount(), 0);
    for (int i = 0; i < 4; ++i) arr.Add(CPoint(i, i));
    arr.Add(arr[1]);  // the storage is full: the argument refers into the old block
    EXPECT_EQ(arr[4], CPoint(1, 1));
}

}  // namespace
