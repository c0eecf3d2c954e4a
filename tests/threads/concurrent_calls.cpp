// Concurrent calls on distinct buffers: the detection chain and a mix of
// entries of every family run from four threads at once, under
// ThreadSanitizer, and give the results of a single-threaded run. The
// library holds no state between calls, so any difference or race report is
// a fault. Built on its own (scripts/test.sh, build-tsan), with the library,
// the synthetic mammogram and the chain only.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

#include "ZetDIP.h"
#include "detection_chain.h"
#include "synthetic.h"
#include "phantom.h"

namespace {

using Words = std::vector<unsigned short>;
using Bytes8 = std::vector<unsigned char>;

template <class T>
unsigned char* AsBytes(std::vector<T>& v) {
    return reinterpret_cast<unsigned char*>(v.data());
}

zetdip::phantom::Mammogram Phantom(int nSeed) {
    zetdip::phantom::Options options;
    options.nSeed = static_cast<std::uint32_t>(nSeed);
    options.bBreastOnRight = nSeed % 2 == 1;
    options.dPixelSize = 0.25;  // 480 x 640: small enough for the sanitizer's pace
    options.dWidthMm = 120.0;
    options.dHeightMm = 160.0;
    return zetdip::phantom::MakeMammogram(options);
}

// What the chain produced, in a comparable form. The chain's interface is
// used only here.
struct ChainOutput {
    std::string failedStep;
    std::vector<unsigned char> mask, lines, kept;
    std::vector<long> circles;
    bool operator==(const ChainOutput& o) const {
        return failedStep == o.failedStep && mask == o.mask && lines == o.lines && kept == o.kept &&
               circles == o.circles;
    }
};

ChainOutput RunChain(const zetdip::phantom::Mammogram& m) {
    zetdip::host::DetectOptions options;
    options.keepStepImages = true;
    const auto r = zetdip::host::Detect(zetdip::host::SyntheticImage(m), options);
    ChainOutput out{r.failedStep, r.mask, r.lines, r.kept, {}};
    for (const auto& c : r.clusters)
        out.circles.insert(out.circles.end(), {c.x, c.y, std::lround(c.radius * 1e6), c.members});
    return out;
}

// A mix of entries of every family on one image: each output and result is
// recorded in order.
struct EntryOutputs {
    std::vector<Words> words;
    std::vector<Bytes8> bytes;
    std::vector<long long> values;
    bool operator==(const EntryOutputs& o) const {
        return words == o.words && bytes == o.bytes && values == o.values;
    }
};

EntryOutputs RunEntries(const zetdip::phantom::Mammogram& m) {
    const int W = m.nWidth, H = m.nHeight, bits = m.nBitsStored;
    EntryOutputs out;
    auto record = [&](bool r, Words w) {
        out.values.push_back(r);
        out.words.push_back(std::move(w));
    };
    Words src = m.image, dst(src.size());
    record(CDipFilters::ApplyGauss(AsBytes(src), AsBytes(dst), 16, bits, W, H, 1.0f), dst);
    record(
        CDipFilters::ApplyDOG(AsBytes(src), AsBytes(dst), 16, bits, W, H, 1.0f, 2.0f, 1.5f, 3.0f),
        dst);
    record(CDipMorphMath::ApplyOpening(AsBytes(src), AsBytes(dst), 16, bits, W, H), dst);
    const int nThreshold =
        CDipThresholding::CalculateThresholdingTHwMD(AsBytes(src), 16, bits, W, H);
    out.values.push_back(nThreshold);
    Words binary(src.size());
    record(CDipThresholding::ApplyThresholding(AsBytes(src), AsBytes(binary), 16, bits, W, H,
                                               nThreshold),
           binary);
    record(CDipClustering::ApplyFPRemovalCAD(nullptr, AsBytes(binary), AsBytes(dst), 16, bits, H, W,
                                             false),
           dst);
    record(CDipClustering::SearchLinesImage(AsBytes(src), AsBytes(dst), 16, bits, W, H), dst);

    std::vector<double> coef(src.size());
    int nLowW = 0, nLowH = 0, wOdd[4] = {}, hOdd[4] = {};
    out.values.push_back(CDipWavelet::ApplyWaveletDecomposition(AsBytes(src), coef.data(), W, H, 16,
                                                                bits, nLowW, nLowH, wOdd, hOdd, 4));
    record(CDipWavelet::ApplyWaveletReconstruction(coef.data(), AsBytes(dst), 16, bits, W, H, 0, 1,
                                                   nLowW, nLowH, wOdd, hOdd, 4),
           dst);

    CArray<CPoint, const CPoint&> circles, centres;
    Words mask(src.size(), 1);
    out.values.push_back(CDipClustering::ApplyClustering(AsBytes(src), AsBytes(dst), AsBytes(mask),
                                                         circles, 16, bits, W, H, m.dPixelSize,
                                                         m.dPixelSize));
    out.values.push_back(CDipTest::ApplyClustering(AsBytes(dst), centres, 16, bits, W, H, bits - 1,
                                                   m.dPixelSize, m.dPixelSize));
    for (const auto* arr : {&circles, &centres})
        for (INT_PTR i = 0; i < arr->GetSize(); ++i)
            out.values.insert(out.values.end(), {arr->GetAt(i).x, arr->GetAt(i).y});

    // 8-bit paths and the histogram, which adjusts its 16-bit source in place.
    Bytes8 image8 = zetdip::phantom::To8Bits(m), out8(image8.size());
    out.values.push_back(CDipMorphMath::ApplyErosionCircle(image8.data(), out8.data(), 8, 8, W, H));
    out.bytes.push_back(out8);
    out.values.push_back(
        CDipEnhancement::ApplyContrastManip(image8.data(), out8.data(), 8, 8, W, H));
    out.bytes.push_back(out8);
    int nBins = 0;
    unsigned int* pHisto = CDipHisto::CreateHisto(AsBytes(src), 16, bits, bits - 1, W, H, &nBins);
    if (pHisto != nullptr) out.values.insert(out.values.end(), pHisto, pHisto + nBins);
    delete[] pHisto;
    out.words.push_back(src);
    return out;
}

TEST(ConcurrentCalls, FourThreadsOnDistinctBuffersGiveTheSingleThreadedResults) {
    constexpr int kThreads = 4;
    constexpr int kImages = 2;  // each thread takes every image, starting at its own
    std::vector<zetdip::phantom::Mammogram> phantoms;
    std::vector<ChainOutput> chainWanted;
    std::vector<EntryOutputs> entriesWanted;
    for (int k = 0; k < kImages; ++k) {
        phantoms.push_back(Phantom(k + 1));
        chainWanted.push_back(RunChain(phantoms.back()));
        entriesWanted.push_back(RunEntries(phantoms.back()));
        ASSERT_EQ(chainWanted.back().failedStep, "");
    }

    std::vector<std::vector<bool>> same(kThreads, std::vector<bool>(2 * kImages, false));
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kImages; ++i) {
                const int k = (t + i) % kImages;
                // Alternate which part comes first, so the threads overlap differently.
                if (t % 2 == 0) {
                    same[t][2 * i] = RunChain(phantoms[k]) == chainWanted[k];
                    same[t][2 * i + 1] = RunEntries(phantoms[k]) == entriesWanted[k];
                } else {
                    same[t][2 * i + 1] = RunEntries(phantoms[k]) == entriesWanted[k];
                    same[t][2 * i] = RunChain(phantoms[k]) == chainWanted[k];
                }
            }
        });
    for (auto& thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t)
        EXPECT_EQ(same[t], std::vector<bool>(2 * kImages, true)) << "thread " << t;
}

}  // namespace
