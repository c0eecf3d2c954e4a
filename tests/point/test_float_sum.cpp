// The blocked float accumulation against the literal per-sample loop, on
// full-size images where the sums pass 2^24 and cross many binades, on
// runs of two values (binary images, every odd term a tie), saturated
// images and long zero runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "point/float_sum.h"
#include "point/thresholding.h"
#include "support/images.h"

namespace {

using zetdip::detail::Mean;
using zetdip::detail::StandardDeviation;
using zetdip::detail::SumPath;
using zetdip::detail::VectorPath;

constexpr int kW = 3328, kH = 4084;

// The statistics as the plain loops write them, kept as the reference.
template <class T>
float LiteralMean(const std::vector<T>& image) {
    float fSum = 0.0f;
    for (T v : image) fSum = static_cast<float>(static_cast<double>(fSum) + v);
    return static_cast<float>(static_cast<double>(fSum) / static_cast<double>(image.size()));
}

template <class T>
float LiteralDeviation(const std::vector<T>& image, float fMean) {
    float fAcc = 0.0f;
    for (T v : image) {
        const float d = static_cast<float>(static_cast<double>(v) - fMean);
        fAcc = static_cast<float>(static_cast<double>(fAcc) + static_cast<double>(d) * d);
    }
    fAcc = static_cast<float>(static_cast<double>(fAcc) / static_cast<double>(image.size()));
    return static_cast<float>(std::sqrt(static_cast<double>(fAcc)));
}

std::uint32_t Bits(float f) {
    std::uint32_t u = 0;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

// Mean and deviation (around the mean and around an off-centre level) equal
// the literal loops bit for bit, on every vector path.
template <class T>
void ExpectSameStatistics(const std::vector<T>& image, const std::string& what) {
    SCOPED_TRACE(what);
    const int n = static_cast<int>(image.size());
    const float fMean = LiteralMean(image);
    // An integer level makes integer squares: odd ones are ties near 2^24.
    // Around the first sample a leading run of it adds zeros to zero.
    const float fLevels[] = {fMean, fMean * 0.37f + 0.3f, std::floor(fMean) + 1.0f,
                             static_cast<float>(image[0])};
    std::vector<float> expected;
    for (float f : fLevels) expected.push_back(LiteralDeviation(image, f));
    for (VectorPath path : {VectorPath::kBaseline, VectorPath::kAvx2}) {
        if (!zetdip::detail::VectorPathAvailable(path)) continue;
        SCOPED_TRACE(path == VectorPath::kAvx2 ? "AVX2" : "baseline");
        ASSERT_EQ(Bits(Mean(image.data(), n, SumPath::kFast, nullptr, path)), Bits(fMean));
        for (std::size_t l = 0; l < expected.size(); ++l)
            EXPECT_EQ(
                Bits(StandardDeviation(image.data(), n, fLevels[l], SumPath::kFast, nullptr, path)),
                Bits(expected[l]))
                << "level " << fLevels[l];
        // Both at once, as the threshold entries take them.
        const auto both = zetdip::detail::MeanAndDeviation(image.data(), n, path);
        EXPECT_EQ(Bits(both.fMean), Bits(fMean));
        EXPECT_EQ(Bits(both.fDeviation), Bits(expected[0]));
    }
}

template <class T>
std::vector<T> Binary(int nEvery, T nMax, std::uint32_t nSeed) {
    std::mt19937 rng(nSeed);
    std::vector<T> image(static_cast<std::size_t>(kW) * kH);
    for (auto& v : image) v = rng() % static_cast<unsigned>(nEvery) == 0 ? nMax : T(0);
    return image;
}

// The same statistics from one bit per sample, as the line searches keep
// their two-level images: around the mean and around an off-centre level.
template <class T>
void ExpectSameFromBits(const std::vector<T>& image, int nMax, const std::string& what) {
    using namespace zetdip::detail;
    SCOPED_TRACE(what);
    std::vector<std::uint64_t> bits((image.size() + 63) / 64, 0);
    for (std::size_t i = 0; i < image.size(); ++i)
        if (image[i] != 0) bits[i / 64] |= std::uint64_t{1} << (i % 64);
    const int n = static_cast<int>(image.size());
    const float fMean = LiteralMean(image);
    ASSERT_EQ(Bits(MeanOfSum(AccumulateFloatTwoValued(bits.data(), n, 0.0, nMax), n)), Bits(fMean));
    EXPECT_EQ(ThresholdFromDeviationOfBits(bits.data(), n, nMax),
              ThresholdFromDeviation(LiteralDeviation(image, fMean)));
    const float fOff = fMean * 0.37f + 0.3f;
    const float fAcc = AccumulateFloatTwoValued(bits.data(), n, SquaredDeviation(0.0, fOff),
                                                SquaredDeviation(nMax, fOff));
    EXPECT_EQ(Bits(DeviationOfSum(fAcc, n)), Bits(LiteralDeviation(image, fOff)));
}

TEST(FloatSum, FullSizeRandomImagesMatchTheLiteralLoop) {
    ExpectSameStatistics(zetdip::test::RandomImage<unsigned char>(kW, kH, 0, 255, 1), "8-bit");
    ExpectSameStatistics(zetdip::test::RandomImage<unsigned short>(kW, kH, 0, 65535, 3), "16-bit");
}

TEST(FloatSum, FullSizeBinaryAndSaturatedImagesMatchTheLiteralLoop) {
    ExpectSameStatistics(Binary<unsigned char>(16, 255, 5), "8-bit, 1 in 16");
    ExpectSameStatistics(Binary<unsigned short>(3, 65535, 8), "16-bit, 1 in 3");
    ExpectSameStatistics(std::vector<unsigned short>(static_cast<std::size_t>(kW) * kH, 4095),
                         "12-bit saturated");
    // Zeros, then a bright band: the sum starts late and crosses binades fast.
    std::vector<unsigned short> late(static_cast<std::size_t>(kW) * kH, 0);
    for (std::size_t i = late.size() - late.size() / 7; i < late.size(); ++i)
        late[i] = static_cast<unsigned short>(3000 + i % 97);
    ExpectSameStatistics(late, "12-bit, zeros then a band");
    std::fill(late.begin(), late.end() - late.size() / 9, static_cast<unsigned short>(7));
    ExpectSameStatistics(late, "12-bit, sevens then a band");
    // Binary with a third value now and then: two-valued and general blocks mix.
    auto mixed = Binary<unsigned short>(4, 4095, 9);
    for (std::size_t i = 0; i < mixed.size(); i += 1001) mixed[i] = 2047;
    ExpectSameStatistics(mixed, "12-bit, binary with a third value");

    ExpectSameFromBits(Binary<unsigned short>(2, 4095, 6), 4095, "bits, 12-bit, 1 in 2");
    ExpectSameFromBits(Binary<unsigned short>(3, 65535, 8), 65535, "bits, 16-bit, 1 in 3");
    std::vector<unsigned short> band(static_cast<std::size_t>(kW) * kH, 0);
    std::fill(band.end() - band.size() / 7, band.end(), static_cast<unsigned short>(4095));
    ExpectSameFromBits(band, 4095, "bits, zeros then a band");
    std::fill(band.begin(), band.end(), static_cast<unsigned short>(4095));
    ExpectSameFromBits(band, 4095, "bits, saturated");
    for (int k : {1, 63, 65}) {
        auto small = zetdip::test::RandomImage<unsigned short>(k, 1, 0, 1, k);
        for (auto& v : small) v = v != 0 ? 1023 : 0;
        ExpectSameFromBits(small, 1023, "bits, n = " + std::to_string(k));
    }
}

TEST(FloatSum, EightBitSquaresWithRareTiesMatchTheLiteralLoop) {
    // Around level 0 the term of v is v * v: 192 (64 times 3) is a tie once
    // the ulp is 2^13, 208 (16 times 13) once it is 2^9, the samples between
    // never. A few ties among them: most stretches of the sum go without the
    // tables, the ones holding a tie go by them.
    auto image = zetdip::test::RandomImage<unsigned char>(1024, 2048, 193, 207, 12);
    for (std::size_t i = 0; i < image.size(); i += 99991) image[i] = i % 2 ? 192 : 208;
    image[image.size() - 1] = 192;
    const float fExpected = LiteralDeviation(image, 0.0f);
    for (VectorPath path : {VectorPath::kBaseline, VectorPath::kAvx2}) {
        if (!zetdip::detail::VectorPathAvailable(path)) continue;
        EXPECT_EQ(Bits(StandardDeviation(image.data(), static_cast<int>(image.size()), 0.0f,
                                         SumPath::kFast, nullptr, path)),
                  Bits(fExpected));
    }
}

TEST(FloatSum, RealMammogramMatchesTheLiteralLoop) {
    const std::string path = std::string(ZETDIP_SHARED_DATA) + "/mg1/MG1_3064x4664_u16le.raw";
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) GTEST_SKIP() << path << " is absent";
    std::vector<unsigned short> real(static_cast<std::size_t>(3064) * 4664);
    const std::size_t nRead = std::fread(real.data(), sizeof(unsigned short), real.size(), f);
    std::fclose(f);
    ASSERT_EQ(nRead, real.size());
    ExpectSameStatistics(real, "MG1");
}

#if defined(__SSE2__)
// The vector kernel of sample terms, one block at every binade a block of
// samples fits in, from exact sums (ulps below 1) to ulps past twice the
// largest sample, from both parities. The first and last word hold no tie,
// half the samples of the two between are tie values.
template <class T>
void ExpectSampleTermBlocksAsTheLiteralLoop(int nTop) {
    const int kBits = 8 * static_cast<int>(sizeof(T));
    for (int k = kBits == 8 ? -6 : 2; k <= kBits + 2; ++k) {
        const double u = std::ldexp(1.0, k);
        auto block =
            zetdip::test::RandomImage<T>(256, 1, 0, nTop, static_cast<std::uint32_t>(k + 40));
        if (k >= 1)
            for (std::size_t i = 0; i < block.size(); ++i) {
                const bool bTie = (block[i] & ((1 << k) - 1)) == (1 << (k - 1));
                if (i < 64 || i >= 192) {
                    if (bTie) block[i] = static_cast<T>(block[i] ^ 1);
                } else if (i % 2 == 0) {
                    block[i] =
                        static_cast<T>((block[i] & ~((1 << k) - 1) & nTop) | (1 << (k - 1) & nTop));
                }
            }
        for (int p : {0, 1}) {
            const auto k0 = static_cast<std::int64_t>(std::ldexp(1.0, 23)) + 34 + p;
            float acc = static_cast<float>(static_cast<double>(k0) * u);
            for (T v : block) acc = static_cast<float>(static_cast<double>(acc) + v);
            for (VectorPath path : {VectorPath::kBaseline, VectorPath::kAvx2}) {
                if (!zetdip::detail::VectorPathAvailable(path)) continue;
                auto parity = static_cast<std::uint32_t>(p);
                const std::int64_t total =
                    zetdip::detail::SampleTermWords(block.data(), 4, k, parity, path);
                EXPECT_EQ(Bits(static_cast<float>(static_cast<double>(k0 + total) * u)), Bits(acc))
                    << "ulp 2^" << k << ", parity " << p << ", path " << static_cast<int>(path);
                EXPECT_EQ(parity, static_cast<std::uint32_t>((k0 + total) & 1));
            }
        }
    }
}

// The square path's chunk sums against the binade tables, at every binade
// it takes, with the values its plan corrects making up half the chunk (so
// their counts grow large) and a tie value sending the chunk back.
TEST(FloatSum, SquareChunksAtEveryBinade) {
    using namespace zetdip::detail;
    for (float fLevel : {47.998f, 127.3f, 3.1f, 200.77f, 0.0f}) {
        for (int k = 1; k <= 16; ++k) {
            std::vector<SumStep> steps(256);
            for (int v = 0; v < 256; ++v)
                steps[v] = StepInBinade(SquaredDeviation(v, fLevel), std::ldexp(1.0, k + 23),
                                        std::ldexp(1.0, k));
            SquarePlan plan;
            if (!MakeSquarePlan(steps.data(), 0, 255, fLevel, k, plan)) continue;
            std::vector<unsigned char> listed(plan.plus, plan.plus + plan.nPlus);
            listed.insert(listed.end(), plan.minus, plan.minus + plan.nMinus);
            auto chunk = zetdip::test::RandomImage<unsigned char>(kChunkSamples, 1, 0, 255,
                                                                  static_cast<std::uint32_t>(k));
            std::int64_t nExpected = 0;
            for (std::size_t i = 0; i < chunk.size(); ++i) {
                if (!listed.empty() && i % 2 == 0) chunk[i] = listed[i / 2 % listed.size()];
                while (steps[chunk[i]].d != 0) ++chunk[i];  // no tie here
                nExpected += steps[chunk[i]].inc0;
            }
            for (VectorPath path : {VectorPath::kBaseline, VectorPath::kAvx2}) {
                if (!VectorPathAvailable(path)) continue;
                std::int64_t nTotal = -1;
                EXPECT_TRUE(SquareChunk(chunk.data(), plan, path, nTotal));
                EXPECT_EQ(nTotal, nExpected) << "level " << fLevel << ", ulp 2^" << k;
                if (plan.nTies > 0) {
                    auto tied = chunk;
                    tied[kChunkSamples - 1] = plan.ties[0];
                    EXPECT_FALSE(SquareChunk(tied.data(), plan, path, nTotal));
                }
            }
        }
    }
}

TEST(FloatSum, SampleTermBlocksAtEveryBinade) {
    ExpectSampleTermBlocksAsTheLiteralLoop<unsigned char>(255);
    ExpectSampleTermBlocksAsTheLiteralLoop<unsigned short>(65535);
}
#endif

}  // namespace
