// Shared internals: the bit-depth dispatch, sample maxima, scratch
// allocation and integer/floating conversions with the wrap-around of a
// 32-bit two's-complement machine, written without undefined behaviour.
#ifndef ZETDIP_CORE_COMMON_H
#define ZETDIP_CORE_COMMON_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

namespace zetdip::detail {

// Channel count that every public entry derives from nBitsPerPixel.
inline int ChannelsOf(int nBitsPerPixel) {
    return nBitsPerPixel == 24 ? 3 : 1;
}

enum class Depth { kInvalid, k8, k16 };

// 8 selects the 8-bit variant, 9..16 the 16-bit one; anything else fails.
inline Depth DepthOf(int nBitsStored) {
    if (nBitsStored == 8) return Depth::k8;
    if (nBitsStored >= 9 && nBitsStored <= 16) return Depth::k16;
    return Depth::kInvalid;
}

// A 16-bit image travels through the unsigned char* parameters.
inline unsigned short* AsWords(unsigned char* p) {
    return reinterpret_cast<unsigned short*>(p);
}
inline const unsigned short* AsWords(const unsigned char* p) {
    return reinterpret_cast<const unsigned short*>(p);
}

// Any image seen through the unsigned char* parameters of the public entries.
template <class T>
unsigned char* AsBytes(T* p) {
    return reinterpret_cast<unsigned char*>(p);
}

// Shifts with the count taken modulo 32, as the processor does.
inline std::uint32_t Shl32(std::uint32_t v, int nCount) {
    return v << (static_cast<unsigned>(nCount) & 31u);
}
inline std::uint32_t Shr32(std::uint32_t v, int nCount) {
    return v >> (static_cast<unsigned>(nCount) & 31u);
}

// 1 << nBits as an int (wraps for 31; count modulo 32).
inline int PowerOfTwo(int nBits) {
    return static_cast<int>(Shl32(1u, nBits));
}

// (1 << nBitsStored) - 1 in 16-bit unsigned arithmetic: 4095 for 12 bits, 65535 for 16.
inline unsigned short MaxValue16(int nBitsStored) {
    return static_cast<unsigned short>(Shl32(1u, nBitsStored) - 1u);
}

// Wrapping int arithmetic (two's complement), for expressions whose
// overflow the library takes as it comes.
inline int WrapAdd(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline int WrapSub(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
inline int WrapMul(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// Truncation of a double toward zero into an int. Values outside the int
// range (and NaN) give INT_MIN, the processor's "integer indefinite" answer,
// instead of undefined behaviour.
inline int TruncToInt(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT_MIN;
    return static_cast<int>(v);
}

// Loop count nChannels * nWidth * nHeight as the int product (wrapping);
// zero or negative counts make the loops run no time.
inline int LoopCount(int nWidth, int nHeight, int nChannels = 1) {
    return WrapMul(WrapMul(nChannels, nWidth), nHeight);
}

// Number of samples of a w x h (x c) image; 0 when the product is not positive.
inline std::size_t SampleCount(long long nWidth, long long nHeight, long long nChannels = 1) {
    if (nWidth <= 0 || nHeight <= 0 || nChannels <= 0) return 0;
    return static_cast<std::size_t>(nWidth * nHeight * nChannels);
}

// Scratch array of n elements from array new (nothrow); null when the
// allocator fails or when the byte count would overflow.
template <class T>
std::unique_ptr<T[]> NewScratch(std::size_t n) {
    if (n > std::numeric_limits<std::size_t>::max() / sizeof(T)) return nullptr;
    return std::unique_ptr<T[]>(new (std::nothrow) T[n == 0 ? 1 : n]);
}

// Whether a destination of nBytes either is the source or does not overlap
// it: then a vector loop that reads each vector before storing it writes
// what the sample loop writes.
inline bool SameOrApart(const void* pDst, const void* pSrc, std::size_t nBytes) {
    const auto d = reinterpret_cast<std::uintptr_t>(pDst),
               s = reinterpret_cast<std::uintptr_t>(pSrc);
    return d == s || d + nBytes <= s || s + nBytes <= d;
}

// The one empty function behind all destructors and the no-op operations.
void NoOperation() noexcept;

}  // namespace zetdip::detail

#endif  // ZETDIP_CORE_COMMON_H
