// Line-structure searches: the gate on the smoothed gradient level, the
// per-depth results when it refuses, and the 8-bit routing of the diagonal entry.
#include <gtest/gtest.h>

#include <vector>

#include "DipClustering.h"
#include "DipMorphMath.h"
#include "DipThresholding.h"
#include "cad/line_search.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;

// A flat image at the gradient offset gives a smoothed gradient equal to the
// offset everywhere; the search then zeroes a two-sample frame, so the level
// the gate sees is that of this image.
template <class T>
int GateLevel(int nWidth, int nHeight, int nOffset, int nBits) {
    std::vector<T> smoothed(static_cast<std::size_t>(nWidth) * nHeight, static_cast<T>(nOffset));
    for (int y = 0; y < nHeight; ++y)
        for (int x = 0; x < nWidth; ++x)
            if (x < 2 || y < 2 || x >= nWidth - 2 || y >= nHeight - 2)
                smoothed[static_cast<std::size_t>(y) * nWidth + x] = 0;
    return CDipThresholding::CalculateThresholding1(Bytes(smoothed), nBits == 8 ? 8 : 16, nBits,
                                                    nWidth, nHeight);
}

// The first square size at or above nFrom whose gate level is nLevel.
int SizeWithLevel(int nLevel, int nFrom) {
    for (int n = nFrom; n < 2000; ++n)
        if (GateLevel<unsigned char>(n, n, 128, 8) == nLevel) return n;
    return -1;
}

TEST(LineSearch, EightBitGateRunsFrom41To45) {
    for (int nLevel : {40, 41, 45, 46}) {
        const int n = SizeWithLevel(nLevel, 100);
        ASSERT_GT(n, 0) << nLevel;
        std::vector<unsigned char> image(static_cast<std::size_t>(n) * n, 128);
        std::vector<unsigned char> lines(image.size(), 7);
        const bool bRan = CDipClustering::SearchLinesImage(image.data(), lines.data(), 8, 8, n, n);
        const bool bInGate = nLevel == 41 || nLevel == 45;
        EXPECT_EQ(bRan, bInGate) << nLevel;
        // Refused: pDst untouched. Ran: the flat contrast-manipulated gradient
        // thresholds to full scale and survives erosions and dilatations.
        EXPECT_EQ(lines, std::vector<unsigned char>(image.size(), bInGate ? 255 : 7)) << nLevel;
    }
}

TEST(LineSearch, SixteenBitGateRefusalClearsDestination) {
    const int n = 600;
    ASSERT_LT(GateLevel<unsigned short>(n, n, 2048, 12), 4096 / 6.3);
    std::vector<unsigned short> image(n * n, 2048), lines(n * n, 7);
    EXPECT_FALSE(CDipClustering::SearchLinesImage(Bytes(image), Bytes(lines), 16, 12, n, n));
    EXPECT_EQ(lines, std::vector<unsigned short>(lines.size(), 0));
}

TEST(LineSearch, DiagonalBorderOverflowClearsEveryColumn) {
    // At 1e-9 mm the border width wraps and the right border covers every
    // column, so the work image is cleared and no line is added.
    const int n = 12;
    std::vector<unsigned short> image(n * n, 1000), mask(n * n, 1), lines(n * n, 0);
    for (int i = 0; i < n * n; ++i)
        if ((i % n + i / n) % 4 == 0) image[i] = 3000;
    ASSERT_TRUE(CDipClustering::SearchLinesSWNEImage(Bytes(image), Bytes(lines), Bytes(mask), 16,
                                                     12, n, n, 1e-9));
    EXPECT_EQ(lines, std::vector<unsigned short>(n * n, 0));
}

// The searches' two-level image on bit planes: the erosion loop gives the
// image and levels that the public erosion and Thresholding1 give called in
// turn, and the dilatations those of the public dilatation; on images of
// clumps that take several erosions to settle, at odd sizes.
template <class T>
void ExpectTwoLevelImageAsEntries(int w, int h, int nBits, std::uint32_t nSeed) {
    using namespace zetdip::detail;
    const int bpp = sizeof(T) == 1 ? 8 : 16;
    const T nMax = sizeof(T) == 1 ? T(255) : static_cast<T>((1 << nBits) - 1);
    auto image = zetdip::test::RandomImage<T>(w, h, 0, 3, nSeed);
    for (auto& v : image) v = v != 0 ? nMax : T(0);  // three in four bright
    struct Loop {
        const int* pSE;
        bool (*erode)(unsigned char*, unsigned char*, int, int, int, int);
    };
    for (const Loop& loop : {Loop{kLineSE, CDipMorphMath::ApplyErosionLine},
                             Loop{kDiagSWNESE, CDipMorphMath::ApplyErosionDiagSWNE}}) {
        auto expected = image;
        TwoLevelImage<T> planes(image.data(), w, h, nMax);
        ASSERT_TRUE(planes);
        int t = CDipThresholding::CalculateThresholding1(Bytes(expected), bpp, nBits, w, h);
        ASSERT_EQ(planes.Level(), t);
        int nRounds = 0;
        for (int nPrev = -1; t != nPrev && t > 1; ++nRounds) {
            loop.erode(Bytes(expected), Bytes(expected), bpp, nBits, w, h);
            planes.Pass(loop.pSE, true);
            nPrev = t;
            t = CDipThresholding::CalculateThresholding1(Bytes(expected), bpp, nBits, w, h);
            ASSERT_EQ(planes.Level(), t) << nRounds;
        }
        for (int i = 0; i < 2; ++i) {
            CDipMorphMath::ApplyDilatation(Bytes(expected), Bytes(expected), bpp, nBits, w, h);
            planes.Dilatation();
        }
        std::vector<T> actual(image.size(), 7);
        planes.Store(actual.data());
        EXPECT_EQ(actual, expected) << w << " x " << h << ", " << nRounds << " rounds";
    }
}

TEST(LineSearch, TwoLevelImageOnBitsAsThePublicEntries) {
    std::uint32_t nSeed = 20;
    for (auto [w, h] : {std::pair{3, 3}, {5, 40}, {64, 9}, {65, 33}, {127, 70}, {300, 211}}) {
        ExpectTwoLevelImageAsEntries<unsigned char>(w, h, 8, ++nSeed);
        ExpectTwoLevelImageAsEntries<unsigned short>(w, h, 12, ++nSeed);
    }
    EXPECT_FALSE((zetdip::detail::TwoLevelImage<unsigned short>(nullptr, 2, 50, 4095)));
}

}  // namespace
