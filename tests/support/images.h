// Test helpers shared by every family: random images, sample-type lists.
#ifndef ZETDIP_TESTS_SUPPORT_IMAGES_H
#define ZETDIP_TESTS_SUPPORT_IMAGES_H

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace zetdip::test {

// Deterministic random image of w * h samples in [lo, hi].
template <class T>
std::vector<T> RandomImage(int nWidth, int nHeight, int nLo, int nHi, std::uint32_t nSeed) {
    std::mt19937 rng(nSeed);
    std::uniform_int_distribution<int> dist(nLo, nHi);
    std::vector<T> image(static_cast<std::size_t>(nWidth) * nHeight);
    for (auto& v : image) v = static_cast<T>(dist(rng));
    return image;
}

// Byte view of an image, for the unsigned char* parameters of the entries.
template <class T>
unsigned char* Bytes(std::vector<T>& image) {
    return reinterpret_cast<unsigned char*>(image.data());
}

// The two sample types of typed tests.
using SampleTypes = ::testing::Types<unsigned char, unsigned short>;

// Bits stored and maximum of each sample type in typed tests: 8 and 12.
template <class T>
struct DepthOf;
template <>
struct DepthOf<unsigned char> {
    static constexpr int kBits = 8;
    static constexpr int kBitsPerPixel = 8;
    static constexpr int kMax = 255;
};
template <>
struct DepthOf<unsigned short> {
    static constexpr int kBits = 12;
    static constexpr int kBitsPerPixel = 16;
    static constexpr int kMax = 4095;
};

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_IMAGES_H
