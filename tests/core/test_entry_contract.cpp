// What every public image entry shares: bits stored outside 8..16 give the failure value and
// write nothing, 24-bit colour does what the entry documents, images without pixels answer at
// once, and where pDst may equal pSrc the result in place is the result out of place.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "ZetDIP.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;
using zetdip::test::RandomImage;
using U = unsigned char*;
using C = CDipClustering;
using E = CDipEnhancement;
using F = CDipFilters;
using M = CDipMorphMath;
using T = CDipThresholding;

const int kSE[9] = {0, 1, 0, 1, 1, 1, 0, 1, 0};
constexpr long long kUnchecked = LLONG_MIN;

// s: source, m: a second image (mask, exclusion, set B), d: destination.
using Call = long long (*)(U s, U m, U d, int bpp, int bits, int w, int h);

struct Entry {
    const char* name;
    Call call;
    long long nFailure;  // for bits stored outside 8..16
    long long nColour;   // for 24 bits per pixel with 8 stored
    int nColourFill;     // the destination after colour: 42 untouched, -1 written
    bool bInPlace;       // pDst may equal pSrc
};

bool MaskOfBreast(U s, U d, int bpp, int bits, int w, int h) {
    bool bRight = false;
    return F::CreateMaskOfBreast(s, d, bpp, bits, w, h, bRight, 0.1);
}

// One row: the entry's name, its call on (s, m, d, bpp, bits, w, h), then the rest of Entry.
#define ENTRY(name, call, ...)                                                            \
    Entry {                                                                               \
        name,                                                                             \
            []([[maybe_unused]] U s, [[maybe_unused]] U m, [[maybe_unused]] U d, int bpp, \
               int bits, int w, int h) -> long long { return call; },                     \
            __VA_ARGS__                                                                   \
    }

const Entry kEntries[] = {
    ENTRY("Mean", F::ApplyMean(s, d, bpp, bits, w, h), 0, 1, 42, true),
    ENTRY("GradientNS", F::ApplyGradientNS(s, d, bpp, bits, w, h), 0, 1, 42, true),
    ENTRY("GradientSWNE", F::ApplyGradientSWNE(s, d, bpp, bits, w, h), 0, 1, 42, true),
    ENTRY("GradientNWSE", F::ApplyGradientNWSE(s, d, bpp, bits, w, h), 0, 1, 42, true),
    ENTRY("Gauss", F::ApplyGauss(s, d, bpp, bits, w, h, 0.8f), 0, 1, 42, true),
    // Colour skips the blurs but not the difference: zeros.
    ENTRY("DOG", F::ApplyDOG(s, d, bpp, bits, w, h, 1.0f, 3.0f, 0.7f, 1.5f), 0, 1, 0, true),
    ENTRY("MaskOfBreast", MaskOfBreast(s, d, bpp, bits, w, h), 0, 0, 42, false),
    ENTRY("PectoralMuscle", F::RemovePectoralMuscleFromMask(s, d, bpp, bits, w, h, false, 0.1), 0,
          0, 42, false),
    ENTRY("Side", F::IsOnTheRightOrLeftSideOfTheImage(s, bpp, bits, w, h, 0.5f), -1, -1, 42, false),
    ENTRY("LinesNS", C::SearchLinesImage(s, d, bpp, bits, w, h), 0, 0, 42, false),
    ENTRY("LinesSWNE", C::SearchLinesSWNEImage(s, d, m, bpp, bits, w, h, 0.1), 0, 0, 42, false),
    ENTRY("FPRemoval", C::ApplyFPRemovalCAD(m, s, d, bpp, bits, h, w, true), 0, kUnchecked, -1,
          true),
    ENTRY("ErosionWithSE", M::ApplyErosionWithSE(s, d, bpp, bits, w, h, kSE, 3, 3, 5), 0, 0, 42,
          true),
    ENTRY("ErosionLine", M::ApplyErosionLine(s, d, bpp, bits, w, h), 0, 0, 42, true),
    ENTRY("ErosionDiagNWSE", M::ApplyErosionDiagNWSE(s, d, bpp, bits, w, h), 0, 0, 42, true),
    ENTRY("ErosionDiagSWNE", M::ApplyErosionDiagSWNE(s, d, bpp, bits, w, h), 0, 0, 42, true),
    ENTRY("ErosionCircle", M::ApplyErosionCircle(s, d, bpp, bits, w, h), 0, 0, 42, true),
    ENTRY("Dilatation", M::ApplyDilatation(s, d, bpp, bits, w, h), 0, 0, 42, true),
    ENTRY("Opening", M::ApplyOpening(s, d, bpp, bits, w, h), 0, 0, 42, true),
    ENTRY("Closing", M::ApplyClosing(s, d, bpp, bits, w, h), 0, 0, 42, true),
    ENTRY(
        "ThicknessStage",
        CDipThickness::ApplyThicknessWavStage(s, m, d, bpp, bits, w, h, kSE, 3, 3, 5, kSE, 3, 3, 5),
        0, 0, 42, true),
    // Colour stretches and thresholds all three samples of each pixel.
    ENTRY("Stretching", E::ApplyStretching(s, d, bpp, bits, w, h, 40, bits == 8 ? 200 : 3000), 0, 1,
          -1, true),
    ENTRY("ContrastManip", E::ApplyContrastManip(s, d, bpp, bits, w, h), 0, 0, 42, true),
    ENTRY("ContrastManipMasked", E::ApplyContrastManip(s, m, d, bpp, bits, w, h), 0, 0, 42, true),
    ENTRY("Thresholding", T::ApplyThresholding(s, d, bpp, bits, w, h, bits == 8 ? 100 : 2000), 0, 1,
          -1, true),
    ENTRY("ThresholdTHwMD", T::CalculateThresholdingTHwMD(s, bpp, bits, w, h), 0, 0, 42, false),
    ENTRY("Threshold1", T::CalculateThresholding1(s, bpp, bits, w, h), 0, 0, 42, false),
    ENTRY("Subtraction", CDipWavelet::ApplySubstraction(s, m, d, bpp, bits, w, h), 0, kUnchecked,
          -1, true),
};

TEST(EntryContract, BadDepthsAndColourAsDocumented) {
    for (const Entry& e : kEntries) {
        std::vector<unsigned char> src(3 * 40 * 30, 200), second(src.size(), 1);
        for (auto [bpp, bits] : {std::pair{8, 7}, {8, 17}, {16, 0}, {16, 17}, {24, 8}}) {
            std::vector<unsigned char> dst(src.size(), 42);
            const long long r = e.call(src.data(), second.data(), dst.data(), bpp, bits, 40, 30);
            const bool bColour = bpp == 24;
            const std::string what =
                std::string(e.name) + ' ' + std::to_string(bpp) + '/' + std::to_string(bits);
            if (!bColour || e.nColour != kUnchecked) {
                EXPECT_EQ(r, bColour ? e.nColour : e.nFailure) << what;
            }
            if (!bColour || e.nColourFill >= 0) {
                EXPECT_EQ(dst, std::vector<unsigned char>(dst.size(), bColour ? e.nColourFill : 42))
                    << what;
            }
        }
        EXPECT_EQ(src, std::vector<unsigned char>(src.size(), 200)) << e.name;
    }
}

// An image without pixels answers as a 0 x 5 one does, reading and writing nothing and
// without walking its long side (2^31 empty rows would take seconds).
TEST(EntryContract, EmptyImagesAnswerAtOnce) {
    for (const Entry& e : kEntries)
        for (auto [bpp, bits] : {std::pair{8, 8}, {16, 12}}) {
            const long long nSmall = e.call(nullptr, nullptr, nullptr, bpp, bits, 0, 5);
            for (auto [w, h] : {std::pair{0, INT_MAX}, {INT_MAX, 0}, {-1, INT_MAX}})
                EXPECT_EQ(e.call(nullptr, nullptr, nullptr, bpp, bits, w, h), nSmall)
                    << e.name << ' ' << bits << ' ' << w << 'x' << h;
        }
}

template <class S>
class EntryContractTyped : public ::testing::Test {};
TYPED_TEST_SUITE(EntryContractTyped, zetdip::test::SampleTypes);

// On odd-sized random images, with a random binary second image. The destination out of place
// starts as a copy of the source, since some entries leave samples (borders, or everything for
// the 8-bit closing) unwritten.
TYPED_TEST(EntryContractTyped, InPlaceEqualsOutOfPlace) {
    using S = TypeParam;
    constexpr int kBits = zetdip::test::DepthOf<S>::kBits, kMax = zetdip::test::DepthOf<S>::kMax;
    const int w = 31, h = 17;
    const auto src = RandomImage<S>(w, h, 0, kMax, 3);
    auto second = RandomImage<S>(w, h, 0, 1, 4);
    for (const Entry& e : kEntries) {
        if (!e.bInPlace) continue;
        auto in = src, out = src, s = src;
        const long long rOut =
            e.call(Bytes(s), Bytes(second), Bytes(out), 8 * sizeof(S), kBits, w, h);
        const long long rIn =
            e.call(Bytes(in), Bytes(second), Bytes(in), 8 * sizeof(S), kBits, w, h);
        EXPECT_EQ(rIn, rOut) << e.name;
        EXPECT_EQ(in, out) << e.name;
        EXPECT_EQ(s, src) << e.name << " wrote its source";
    }
}

#undef ENTRY

}  // namespace
