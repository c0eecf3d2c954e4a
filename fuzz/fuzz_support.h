// Shared pieces of the fuzz targets: decoding every argument from the input,
// buffers of exactly the size an entry's contract asks for, and the contract
// checks themselves.
//
// Input layout: one byte selects the entry, then each argument is read in
// the entry's order as one tag byte (a value from the small range of its
// kind, an index into the table of interesting values, or 0xFF followed by
// the raw little-endian bytes), then one byte selects how the images are
// filled, and the remaining bytes are the pixels (cycled). An exhausted
// input reads as zeros. fuzz/make_seeds.py writes seeds in this layout.
#ifndef ZETDIP_FUZZ_FUZZ_SUPPORT_H
#define ZETDIP_FUZZ_FUZZ_SUPPORT_H

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>

namespace zetdip::fuzz {

// Largest image the targets allocate, in samples: keeps one execution short.
inline constexpr std::size_t kMaxSamples = std::size_t{1} << 14;

[[noreturn]] inline void Fail(const char* what, const char* file, int line) {
    std::fprintf(stderr, "contract broken: %s (%s:%d)\n", what, file, line);
    std::abort();
}
#define ZETDIP_FUZZ_CHECK(cond) ((cond) ? (void)0 : ::zetdip::fuzz::Fail(#cond, __FILE__, __LINE__))

// Tags 0xE0..0xFE pick one of these.
inline constexpr int kInterestingInts[31] = {
    0,           -1,          1,           2,           3,          -2,          5,       7,
    8,           9,           16,          17,          31,         32,          255,     256,
    65535,       65536,       -65536,      46340,       46341,      -46341,      INT_MAX, INT_MIN,
    INT_MAX - 1, INT_MIN + 1, INT_MAX / 2, INT_MIN / 2, 0x40000000, -0x40000000, 4096};

inline constexpr double kInterestingDoubles[31] = {0.0,
                                                   -0.0,
                                                   std::numeric_limits<double>::quiet_NaN(),
                                                   std::numeric_limits<double>::infinity(),
                                                   -std::numeric_limits<double>::infinity(),
                                                   1e-300,
                                                   1e300,
                                                   std::numeric_limits<double>::denorm_min(),
                                                   -0.05,
                                                   -1.0,
                                                   0.05,
                                                   0.07,
                                                   0.1,
                                                   0.2,
                                                   0.5,
                                                   1.0,
                                                   2.0,
                                                   6.4,
                                                   6.8,
                                                   30.2,
                                                   1e-9,
                                                   2147483648.0,
                                                   -2147483649.0,
                                                   4.9e-324,
                                                   1e10,
                                                   0.001,
                                                   0.0001,
                                                   100.0,
                                                   std::numeric_limits<double>::max(),
                                                   -std::numeric_limits<double>::max(),
                                                   0.3};

class Input {
public:
    Input(const std::uint8_t* p, std::size_t n) : p_(p), n_(n) {}

    std::uint8_t Byte() { return i_ < n_ ? p_[i_++] : 0; }
    bool Bool() { return (Byte() & 1) != 0; }

    // A general int argument: -32..191, an interesting value, or raw.
    int Int() {
        return Tagged(Byte(), [](int t) { return t - 32; });
    }
    // An image side: 0..223, an interesting value, or raw.
    int Side() {
        return Tagged(Byte(), [](int t) { return t; });
    }
    // Bits stored: 0..17 (so the bad depths 7 and 17 are common), or special.
    int BitsStored() {
        return Tagged(Byte(), [](int t) { return t % 18; });
    }
    // Bits per pixel: 8, 16, 24 or 12 (one channel), or special.
    int BitsPerPixel() {
        return Tagged(Byte(), [](int t) { return t % 4 == 3 ? 12 : 8 * (t % 4 + 1); });
    }

    // A double: tag / 100 (0 .. 2.23, pixel sizes), a special value, or raw.
    double Double() {
        const std::uint8_t t = Byte();
        if (t < 0xE0) return t / 100.0;
        if (t < 0xFF) return kInterestingDoubles[t - 0xE0];
        std::uint64_t bits = 0;
        for (int k = 0; k < 8; ++k) bits |= static_cast<std::uint64_t>(Byte()) << (8 * k);
        double d;
        std::memcpy(&d, &bits, sizeof d);
        return d;
    }
    // A float: tag / 10 (0 .. 22.3, sigmas and gains), a special value, or raw.
    float Float() {
        const std::uint8_t t = Byte();
        if (t < 0xE0) return static_cast<float>(t / 10.0);
        if (t < 0xFF) return static_cast<float>(kInterestingDoubles[t - 0xE0]);
        std::uint32_t bits = 0;
        for (int k = 0; k < 4; ++k) bits |= static_cast<std::uint32_t>(Byte()) << (8 * k);
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }

    // Fills n bytes of samples of sample size nSampleBytes (1 or 2). Mode 0:
    // the input's bytes; 1: binary 0 / nMax; 2: sparse binary (1 in 8);
    // 3: the input's bytes reduced to 0..nMax. The rest of the input is
    // cycled; without one, a fixed sequence stands in.
    void Fill(unsigned char* p, std::size_t n, int nSampleBytes, unsigned nMax) {
        const int mode = nMode_ & 3;
        const std::size_t nSamples = n / static_cast<std::size_t>(nSampleBytes);
        for (std::size_t s = 0; s < nSamples; ++s) {
            unsigned v = Next();
            if (nSampleBytes == 2) v |= Next() << 8;
            if (mode == 1) v = (v & 1) ? nMax : 0;
            if (mode == 2) v = (v & 7) == 0 ? nMax : 0;
            if (mode == 3) v = nMax == 0 ? 0 : v % (nMax + 1);
            if (nSampleBytes == 2) {
                const auto w = static_cast<std::uint16_t>(v);
                std::memcpy(p + 2 * s, &w, 2);
            } else {
                p[s] = static_cast<unsigned char>(v);
            }
        }
    }
    // Reads the fill mode; the bytes after it are the pixels.
    void StartPixels() {
        nMode_ = Byte();
        nPixelStart_ = i_;
    }

private:
    template <class Small>
    int Tagged(std::uint8_t t, Small small) {
        if (t < 0xE0) return small(t);
        if (t < 0xFF) return kInterestingInts[t - 0xE0];
        std::uint32_t v = 0;
        for (int k = 0; k < 4; ++k) v |= static_cast<std::uint32_t>(Byte()) << (8 * k);
        return static_cast<int>(v);
    }
    unsigned Next() {
        if (nPixelStart_ < n_) {
            const std::uint8_t b = p_[nPixelStart_ + nPixel_ % (n_ - nPixelStart_)];
            ++nPixel_;
            return b;
        }
        nLcg_ = nLcg_ * 1103515245u + 12345u;
        return (nLcg_ >> 16) & 0xFF;
    }

    const std::uint8_t* p_;
    std::size_t n_;
    std::size_t i_ = 0;
    std::size_t nPixelStart_ = 0;
    std::size_t nPixel_ = 0;
    std::uint8_t nMode_ = 0;
    std::uint32_t nLcg_ = 1;
};

// A heap buffer of exactly n bytes (never null, so that ASan reports any
// access past an empty one).
class Buffer {
public:
    Buffer() : Buffer(std::size_t{0}) {}
    explicit Buffer(std::size_t n) : p_(new unsigned char[n == 0 ? 0 : n]), n_(n) {}
    Buffer(const Buffer& o) : Buffer(o.n_) {
        if (n_ > 0) std::memcpy(p_.get(), o.p_.get(), n_);
    }
    Buffer& operator=(const Buffer& o) {
        Buffer copy(o);
        std::swap(p_, copy.p_);
        std::swap(n_, copy.n_);
        return *this;
    }
    unsigned char* data() const { return p_.get(); }
    std::size_t size() const { return n_; }
    bool operator==(const Buffer& o) const {
        return n_ == o.n_ && (n_ == 0 || std::memcmp(p_.get(), o.p_.get(), n_) == 0);
    }
    bool operator!=(const Buffer& o) const { return !(*this == o); }

private:
    std::unique_ptr<unsigned char[]> p_;
    std::size_t n_;
};

enum class Depth { kInvalid, k8, k16 };

inline Depth DepthOf(int nBitsStored) {
    if (nBitsStored == 8) return Depth::k8;
    if (nBitsStored >= 9 && nBitsStored <= 16) return Depth::k16;
    return Depth::kInvalid;
}

// Format of an image as an entry's dispatch sees it, and the size of its buffer.
struct Format {
    int nBitsPerPixel = 8;
    int nBitsStored = 8;
    int nWidth = 0;
    int nHeight = 0;
    Depth depth = Depth::kInvalid;
    int nChannels = 1;
    std::size_t nSamples = 0;  // samples the contract lets the entry touch
    int nSampleBytes = 1;      // 2 for 16-bit words (and for a bad depth)
    unsigned nMax = 255;       // full scale of a valid depth, 65535 otherwise

    std::size_t Bytes() const { return nSamples * static_cast<std::size_t>(nSampleBytes); }
    bool Empty() const { return nSamples == 0; }
};

// Samples of a w x h image of c channels: the product for positive sides;
// for other sides the int products as the loops see them (wrapping, so
// -5 x -5 is 25; c * (w * h) and (c * w) * h may differ) when positive, else
// none. Empty when it exceeds kMaxSamples.
inline std::optional<std::size_t> SamplesOf(int nWidth, int nHeight, int nChannels) {
    if (nWidth > 0 && nHeight > 0) {
        const unsigned long long n = static_cast<unsigned long long>(nWidth) *
                                     static_cast<unsigned long long>(nHeight) *
                                     static_cast<unsigned long long>(nChannels);
        if (n > kMaxSamples) return std::nullopt;
        return static_cast<std::size_t>(n);
    }
    auto wrap = [](std::uint32_t a, std::uint32_t b) { return static_cast<int>(a * b); };
    const int nPixels =
        wrap(static_cast<std::uint32_t>(nWidth), static_cast<std::uint32_t>(nHeight));
    const int nRowMajor =
        wrap(wrap(static_cast<std::uint32_t>(nChannels), static_cast<std::uint32_t>(nWidth)),
             static_cast<std::uint32_t>(nHeight));
    long long n = nRowMajor > 0 ? nRowMajor : 0;
    if (nPixels > 0) n = std::max(n, static_cast<long long>(nPixels) * nChannels);
    if (static_cast<unsigned long long>(n) > kMaxSamples) return std::nullopt;
    return static_cast<std::size_t>(n);
}

// Completes a format from its four parameters; a height that would make the
// image too large is reduced so that it fits. Empty when no fitting size.
inline std::optional<Format> MakeFormat(int nBitsPerPixel, int nBitsStored, int nWidth,
                                        int nHeight) {
    Format f;
    f.nBitsPerPixel = nBitsPerPixel;
    f.nBitsStored = nBitsStored;
    f.depth = DepthOf(nBitsStored);
    f.nChannels = f.depth == Depth::k8 && nBitsPerPixel == 24 ? 3 : 1;
    if (f.depth == Depth::kInvalid && nBitsPerPixel == 24) f.nChannels = 3;
    f.nSampleBytes = f.depth == Depth::k8 ? 1 : 2;
    f.nMax = f.depth == Depth::k8    ? 255u
             : f.depth == Depth::k16 ? static_cast<unsigned>((1u << nBitsStored) - 1u)
                                     : 65535u;
    if (nWidth > 0 && nHeight > 0) {
        const long long nRoom =
            static_cast<long long>(kMaxSamples) / (static_cast<long long>(f.nChannels) * nWidth);
        if (nRoom <= 0) return std::nullopt;
        if (nHeight > nRoom) nHeight = static_cast<int>(nRoom);
    }
    f.nWidth = nWidth;
    f.nHeight = nHeight;
    const auto n = SamplesOf(nWidth, nHeight, f.nChannels);
    if (!n) return std::nullopt;
    f.nSamples = *n;
    return f;
}

// Whether an element of nSEHeight x nSEWidth on the image stays affordable:
// its cache (nSEHeight / 2 + 1 rows) and its work (the offsets visited per
// pixel, (2 min(hA, hB) + 1) (2 hA + 1)) are what the caller asks for, and
// large ones would only slow the search down.
inline bool ElementAffordable(const Format& f, int nSEHeight, int nSEWidth) {
    if (f.nWidth <= 0 || f.nHeight <= 0 || nSEHeight < 3 || nSEWidth < 0) return true;
    const long long hA = nSEHeight / 2, hB = nSEWidth / 2;
    const long long nOffsets = (2 * std::min(hA, hB) + 1) * (2 * hA + 1);
    return (hA + 1) * f.nWidth <= (1LL << 24) &&
           nOffsets <= (1LL << 21) / static_cast<long long>(f.nSamples);
}

// Reads the four format parameters in the public entries' order.
inline std::optional<Format> ReadFormat(Input& in) {
    const int nBitsPerPixel = in.BitsPerPixel();
    const int nBitsStored = in.BitsStored();
    const int nWidth = in.Side();
    const int nHeight = in.Side();
    return MakeFormat(nBitsPerPixel, nBitsStored, nWidth, nHeight);
}

// An image of the format, filled from the input.
inline Buffer NewImage(Input& in, const Format& f) {
    Buffer b(f.Bytes());
    in.Fill(b.data(), b.size(), f.nSampleBytes, f.nMax);
    return b;
}

// Runs an entry out of place (pDst starting as a copy of pSrc, so that an
// entry that writes nothing leaves the same bytes) and in place, checks that
// both give the same result and the same image and that the out-of-place
// source is unchanged. Returns the out-of-place run's result and image.
template <class R, class Call>
std::pair<R, Buffer> RunBothWays(const Buffer& src, Call call) {
    Buffer source = src, out = src;
    const R r = call(source.data(), out.data());
    ZETDIP_FUZZ_CHECK(source == src);
    Buffer inPlace = src;
    const R rInPlace = call(inPlace.data(), inPlace.data());
    ZETDIP_FUZZ_CHECK(r == rInPlace);
    ZETDIP_FUZZ_CHECK(inPlace == out);
    return {r, out};
}

}  // namespace zetdip::fuzz

#endif  // ZETDIP_FUZZ_FUZZ_SUPPORT_H
