// Shaped morphology: the quarter passes, their chaining and refused scratch.
#include <gtest/gtest.h>

#include <new>
#include <vector>

#include "DipMorphMath.h"
#include "morph/shaped.h"
#include "support/images.h"
#include "support/morph_reference.h"

namespace {
// Number of nothrow array allocations still granted; the next one after them
// yields nothing. Negative: every one is granted.
int g_nNothrowGranted = -1;
}  // namespace

// The library takes its scratch through the nothrow array form only, so a
// refused allocation can be staged here.
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    if (g_nNothrowGranted == 0) {
        g_nNothrowGranted = -1;
        return nullptr;
    }
    if (g_nNothrowGranted > 0) --g_nNothrowGranted;
    try {
        return ::operator new[](n);
    } catch (...) {
        return nullptr;
    }
}

namespace {

using zetdip::test::Bytes;
using zetdip::test::RandomImage;
using zetdip::test::ReferenceRankRule;
using M = CDipMorphMath;
using Bytes8 = std::vector<unsigned char>;
using Entry = bool (*)(unsigned char*, unsigned char*, int, int, int, int);

// Rank-rule passes by the quarters, centre plus two edge neighbours (element row 0 is below).
template <class T>
std::vector<T> QuarterPasses(bool bErode, std::vector<T> img, int w, int h) {
    // left+below, below+right, right+above, above+left
    for (auto [a, b] : {std::pair{3, 1}, {1, 5}, {5, 7}, {7, 3}}) {
        int q[9] = {};
        q[4] = q[a] = q[b] = 1;
        ReferenceRankRule(bErode, std::vector<T>(img).data(), img.data(), w, h, q, 3, 3, 3);
    }
    return img;
}

TEST(ShapedErosion, DiagonalsAndLineAreAppliedFlippedAndCornerSeedCounts) {
    // '1': dark pixels (top row first) that darken a bright 3x3's centre: flipped members, seed.
    for (auto [entry, darkening] : {std::pair{Entry{M::ApplyErosionLine}, "100101000"},
                                    {M::ApplyErosionDiagNWSE, "101000100"},
                                    {M::ApplyErosionDiagSWNE, "100000001"}}) {
        for (int i : {0, 1, 2, 3, 5, 6, 7, 8}) {
            Bytes8 img(9, 200), out(9);
            img[i] = 10;
            ASSERT_TRUE(entry(img.data(), out.data(), 8, 8, 3, 3));
            EXPECT_EQ(out[4], darkening[i] == '1' ? 10 : 200) << darkening << " at " << i;
        }
    }
}

template <class T>
class Shaped : public ::testing::Test {};
TYPED_TEST_SUITE(Shaped, zetdip::test::SampleTypes);

// 8-bit: the dilatation and the opening write and report false, the closing writes nothing.
TYPED_TEST(Shaped, CircleDilatationOpeningClosingRunQuartersInOrder) {
    using T = TypeParam;
    const bool b16 = sizeof(T) == 2;
    const int w = 23, h = 17, bpp = 8 * sizeof(T), bits = b16 ? 12 : 8;
    auto img = RandomImage<T>(w, h, 0, 3, 4);
    std::vector<T> ero = img, dil(img.size()), open(img.size()), clo(img.size(), 77);
    EXPECT_TRUE(M::ApplyErosionCircle(Bytes(ero), Bytes(ero), bpp, bits, w, h));  // in place
    EXPECT_EQ(M::ApplyDilatation(Bytes(img), Bytes(dil), bpp, bits, w, h), b16);
    EXPECT_EQ(M::ApplyOpening(Bytes(img), Bytes(open), bpp, bits, w, h), b16);
    EXPECT_EQ(M::ApplyClosing(Bytes(img), Bytes(clo), bpp, bits, w, h), b16);
    EXPECT_EQ(ero, QuarterPasses(true, img, w, h));
    EXPECT_EQ(dil, QuarterPasses(false, img, w, h));
    EXPECT_EQ(open, QuarterPasses(false, ero, w, h));
    EXPECT_EQ(clo, b16 ? QuarterPasses(true, dil, w, h) : std::vector<T>(img.size(), 77));
}

// The chained quarters equal the passes one image at a time at sizes that
// break row pipelines (no interior, one interior row or column, fewer rows
// than passes, rows of less than, exactly and just over a vector), in place
// and not, on both vector paths.
TYPED_TEST(Shaped, ChainedPassesMatchWholeImagePasses) {
    using T = TypeParam;
    using zetdip::detail::ShapedStage, zetdip::detail::VectorPath;
    std::uint32_t seed = 30;
    const int sizes[][2] = {{1, 1}, {2, 2}, {3, 1},  {1, 3},  {3, 3},   {4, 3},
                            {3, 7}, {5, 9}, {33, 5}, {34, 6}, {67, 33}, {130, 4}};
    for (const auto& [w, h] : sizes)
        for (int nMax : {3, int(T(~0u))}) {
            const auto img = RandomImage<T>(w, h, 0, nMax, ++seed);
            const auto ero = QuarterPasses(true, img, w, h), dil = QuarterPasses(false, img, w, h);
            const std::pair<std::vector<T>, std::vector<T>> chains[] = {
                {ero, dil}, {QuarterPasses(false, ero, w, h), QuarterPasses(true, dil, w, h)}};
            for (int nChain = 0; nChain < 4; ++nChain) {  // erosion, dilatation, opening, closing
                ShapedStage stages[8];
                const bool bErodeFirst = nChain % 2 == 0;
                zetdip::detail::QuarterStages(bErodeFirst, stages);
                zetdip::detail::QuarterStages(!bErodeFirst, stages + 4);
                const auto& want = nChain < 2 ? (bErodeFirst ? chains[0].first : chains[0].second)
                                              : (bErodeFirst ? chains[1].first : chains[1].second);
                const int nStages = nChain < 2 ? 4 : 8;
                for (VectorPath v : {VectorPath::kBaseline, VectorPath::kAvx2}) {
                    if (!zetdip::detail::VectorPathAvailable(v)) continue;
                    std::vector<T> out(img.size()), in = img;
                    ASSERT_TRUE(zetdip::detail::ShapedChain(img.data(), out.data(), w, h, stages,
                                                            nStages, v));
                    ASSERT_TRUE(zetdip::detail::ShapedChain(in.data(), in.data(), w, h, stages,
                                                            nStages, v));
                    ASSERT_EQ(out, want) << w << "x" << h << " chain " << nChain;
                    ASSERT_EQ(in, want) << w << "x" << h << " chain " << nChain << " in place";
                }
            }
        }
}

// Scratch that cannot be had: false with pDst untouched, also for the 8-bit
// dilatation, whose inverted report concerns only its last pass.
TEST(Shaped, RefusedScratchReportsFalseWritingNothing) {
    const int w = 9, h = 7;
    auto src8 = RandomImage<unsigned char>(w, h, 0, 255, 3);
    auto src16 = RandomImage<unsigned short>(w, h, 0, 4095, 4);
    for (Entry entry :
         {M::ApplyErosionCircle, M::ApplyDilatation, M::ApplyOpening, M::ApplyClosing})
        for (int bits : {8, 12}) {
            unsigned char* s = bits == 8 ? src8.data() : Bytes(src16);
            Bytes8 d(bits == 8 ? src8.size() : 2 * src16.size(), 42);
            g_nNothrowGranted = 0;
            EXPECT_FALSE(entry(s, d.data(), 8, bits, w, h)) << bits;
            g_nNothrowGranted = -1;
            EXPECT_EQ(d, Bytes8(d.size(), 42)) << bits;
        }
}

}  // namespace
