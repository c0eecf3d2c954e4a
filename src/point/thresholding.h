// Kernels of thresholding and of the single-precision image statistics.
#ifndef ZETDIP_POINT_THRESHOLDING_H
#define ZETDIP_POINT_THRESHOLDING_H

#include <cmath>

#include "core/common.h"
#include "point/float_sum.h"

namespace zetdip::detail {

// Below nThreshold -> 0, else nMax (signed comparison of sample and threshold).
template <class T>
void Threshold(const T* pSrc, T* pDst, int nCount, int nThreshold, T nMax) {
    for (int i = 0; i < nCount; ++i) pDst[i] = static_cast<int>(pSrc[i]) < nThreshold ? T(0) : nMax;
}

// The mean from the float sum of nCount > 0 samples.
inline float MeanOfSum(float fSum, int nCount) {
    return static_cast<float>(static_cast<double>(fSum) / nCount);
}

// A sample's squared deviation from fMean: the difference is stored in a
// float, its square formed in double.
inline double SquaredDeviation(double dValue, float fMean) {
    const float d = static_cast<float>(dValue - fMean);
    return static_cast<double>(d) * d;
}

// The deviation from the float sum of nCount > 0 squared deviations.
inline float DeviationOfSum(float fAcc, int nCount) {
    fAcc = static_cast<float>(static_cast<double>(fAcc) / nCount);
    return static_cast<float>(std::sqrt(static_cast<double>(fAcc)));
}

// Mean of nCount samples; the running sum is rounded to float after each
// addition, so large bright images lose digits on purpose.
template <class T>
float Mean(const T* pSrc, int nCount, SumPath path = SumPath::kFast,
           const SampleSpan* pSpan = nullptr, VectorPath vector = VectorPath::kAuto) {
    if (nCount == 0) return 0.0f;
    auto value = [](T v) { return static_cast<double>(v); };
    const float fSum =
        AccumulateFloat<T, decltype(value), true>(pSrc, nCount, value, path, pSpan, vector);
    return MeanOfSum(fSum, nCount);
}

// Population standard deviation around fMean, summed in a float accumulator.
template <class T>
float StandardDeviation(const T* pSrc, int nCount, float fMean, SumPath path = SumPath::kFast,
                        const SampleSpan* pSpan = nullptr, VectorPath vector = VectorPath::kAuto) {
    if (nCount == 0) return 0.0f;
    auto square = [fMean](T v) { return SquaredDeviation(static_cast<double>(v), fMean); };
    return DeviationOfSum(AccumulateFloat(pSrc, nCount, square, path, pSpan, vector, &fMean),
                          nCount);
}

struct MeanDeviation {
    float fMean, fDeviation;
};

// The mean and the deviation around it, as Mean then StandardDeviation
// give them, with one pass for the sample range instead of two.
template <class T>
MeanDeviation MeanAndDeviation(const T* pSrc, int nCount, VectorPath vector = VectorPath::kAuto) {
    SampleSpan span{0, 0};
    SampleRange(pSrc, nCount, span.nMin, span.nMax);
    const float fMean = Mean(pSrc, nCount, SumPath::kFast, &span, vector);
    return {fMean, StandardDeviation(pSrc, nCount, fMean, SumPath::kFast, &span, vector)};
}

// Mean plus 3.3 deviations; the factor is the float 3.3 used as a double.
inline int ThresholdFromMeanAndDeviation(float fMean, float fDeviation) {
    return TruncToInt(static_cast<double>(fMean) +
                      static_cast<double>(fDeviation) * static_cast<double>(3.3f));
}

// 2.5 deviations; the mean is deliberately not added.
inline int ThresholdFromDeviation(float fDeviation) {
    return TruncToInt(static_cast<double>(fDeviation) * 2.5);
}

// The level ThresholdFromDeviation gives an image of nCount > 0 samples of 0
// and nMax, bit i of pBits set where sample i is nMax.
inline int ThresholdFromDeviationOfBits(const std::uint64_t* pBits, int nCount, int nMax) {
    // Zeros leave the sum of the samples as it is: it is nMax added once per
    // bright sample.
    long long nBright = 0;
    for (int w = 0; w < nCount / 64; ++w) nBright += PopCount64(pBits[w]);
    for (int i = nCount / 64 * 64; i < nCount; ++i) nBright += (pBits[i / 64] >> (i % 64)) & 1u;
    const float fMean =
        MeanOfSum(AccumulateFloatRepeated(nBright, static_cast<double>(nMax)), nCount);
    const float fAcc = AccumulateFloatTwoValued(pBits, nCount, SquaredDeviation(0.0, fMean),
                                                SquaredDeviation(static_cast<double>(nMax), fMean));
    return ThresholdFromDeviation(DeviationOfSum(fAcc, nCount));
}

}  // namespace zetdip::detail

#endif  // ZETDIP_POINT_THRESHOLDING_H
