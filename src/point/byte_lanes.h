// Vector lanes for kernels over bytes written once and compiled per
// instruction set: the baseline's 16 bytes (SSE2) and AVX2's 32. Each
// kernel body is included once per set (see float_sum.h), inside a region
// compiled for that set, with L naming its lanes.
#ifndef ZETDIP_POINT_BYTE_LANES_H
#define ZETDIP_POINT_BYTE_LANES_H

#include <cstdint>

#include "core/cpu.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if ZETDIP_HAS_AVX2_PATH
#include <immintrin.h>
#endif

namespace zetdip::detail {

#if defined(__SSE2__)
struct Sse2Lanes {
    using V = __m128i;
    static constexpr int kBytes = 16;
    static V Zero() { return _mm_setzero_si128(); }
    static V Load(const unsigned char* p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    }
    static V Set8(unsigned char c) { return _mm_set1_epi8(static_cast<char>(c)); }
    static V Set16(int c) { return _mm_set1_epi16(static_cast<short>(c)); }
    static V Lo8(V a, V b) { return _mm_unpacklo_epi8(a, b); }
    static V Hi8(V a, V b) { return _mm_unpackhi_epi8(a, b); }
    static V AbsDiff16(V a, V b) {
        return _mm_or_si128(_mm_subs_epu16(a, b), _mm_subs_epu16(b, a));
    }
    static V Square16(V d) { return _mm_mulhi_epu16(d, d); }
    static V Round16(V s, V bias, __m128i shift) {
        return _mm_srl_epi16(_mm_avg_epu16(s, bias), shift);
    }
    static V Add16(V a, V b) { return _mm_add_epi16(a, b); }
    static V Or(V a, V b) { return _mm_or_si128(a, b); }
    static V CountEq8(V n, V v, V c) { return _mm_sub_epi8(n, _mm_cmpeq_epi8(v, c)); }
    static V Add32(V a, V b) { return _mm_add_epi32(a, b); }
    // Pairs of unsigned 16-bit lanes summed into 32-bit lanes.
    static V Widen16(V a) {
        return _mm_add_epi32(_mm_and_si128(a, _mm_set1_epi32(0xffff)), _mm_srli_epi32(a, 16));
    }
    static std::int64_t Sum32(V a) {
        alignas(16) std::int32_t l[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(l), a);
        return static_cast<std::int64_t>(l[0]) + l[1] + l[2] + l[3];
    }
    static std::int64_t Sum8(V a) {
        const __m128i s = _mm_sad_epu8(a, _mm_setzero_si128());
        return _mm_cvtsi128_si32(s) + _mm_cvtsi128_si32(_mm_srli_si128(s, 8));
    }
    static bool Any(V a) { return _mm_movemask_epi8(_mm_cmpeq_epi8(a, Zero())) != 0xffff; }
    static V Avg8(V a, V b) { return _mm_avg_epu8(a, b); }
    static V Srl16(V a, __m128i shift) { return _mm_srl_epi16(a, shift); }
    static V And(V a, V b) { return _mm_and_si128(a, b); }
    static V CmpEq8(V a, V b) { return _mm_cmpeq_epi8(a, b); }
    static std::uint32_t Mask8(V a) { return static_cast<std::uint32_t>(_mm_movemask_epi8(a)); }
    // The low bits of the bytes, as a mask.
    static std::uint32_t LowBits8(V a) { return Mask8(_mm_slli_epi16(a, 7)); }
    static V AddSad(V acc, V a) { return _mm_add_epi64(acc, _mm_sad_epu8(a, _mm_setzero_si128())); }
    static std::int64_t Sum64(V a) {
        alignas(16) std::int64_t l[2];
        _mm_store_si128(reinterpret_cast<__m128i*>(l), a);
        return l[0] + l[1];
    }
};
#endif

#if ZETDIP_HAS_AVX2_PATH
struct Avx2Lanes {
    using V = __m256i;
    static constexpr int kBytes = 32;
    ZETDIP_TARGET_AVX2 static V Zero() { return _mm256_setzero_si256(); }
    ZETDIP_TARGET_AVX2 static V Load(const unsigned char* p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    }
    ZETDIP_TARGET_AVX2 static V Set8(unsigned char c) {
        return _mm256_set1_epi8(static_cast<char>(c));
    }
    ZETDIP_TARGET_AVX2 static V Set16(int c) { return _mm256_set1_epi16(static_cast<short>(c)); }
    ZETDIP_TARGET_AVX2 static V Lo8(V a, V b) { return _mm256_unpacklo_epi8(a, b); }
    ZETDIP_TARGET_AVX2 static V Hi8(V a, V b) { return _mm256_unpackhi_epi8(a, b); }
    ZETDIP_TARGET_AVX2 static V AbsDiff16(V a, V b) {
        return _mm256_or_si256(_mm256_subs_epu16(a, b), _mm256_subs_epu16(b, a));
    }
    ZETDIP_TARGET_AVX2 static V Square16(V d) { return _mm256_mulhi_epu16(d, d); }
    ZETDIP_TARGET_AVX2 static V Round16(V s, V bias, __m128i shift) {
        return _mm256_srl_epi16(_mm256_avg_epu16(s, bias), shift);
    }
    ZETDIP_TARGET_AVX2 static V Add16(V a, V b) { return _mm256_add_epi16(a, b); }
    ZETDIP_TARGET_AVX2 static V Or(V a, V b) { return _mm256_or_si256(a, b); }
    ZETDIP_TARGET_AVX2 static V CountEq8(V n, V v, V c) {
        return _mm256_sub_epi8(n, _mm256_cmpeq_epi8(v, c));
    }
    ZETDIP_TARGET_AVX2 static V Add32(V a, V b) { return _mm256_add_epi32(a, b); }
    ZETDIP_TARGET_AVX2 static V Widen16(V a) {
        return _mm256_add_epi32(_mm256_and_si256(a, _mm256_set1_epi32(0xffff)),
                                _mm256_srli_epi32(a, 16));
    }
    ZETDIP_TARGET_AVX2 static std::int64_t Sum32(V a) {
        return Sse2Lanes::Sum32(
            _mm_add_epi32(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1)));
    }
    ZETDIP_TARGET_AVX2 static std::int64_t Sum8(V a) {
        const __m256i s = _mm256_sad_epu8(a, _mm256_setzero_si256());
        return Sse2Lanes::Sum64(
            _mm_add_epi64(_mm256_castsi256_si128(s), _mm256_extracti128_si256(s, 1)));
    }
    ZETDIP_TARGET_AVX2 static bool Any(V a) { return !_mm256_testz_si256(a, a); }
    ZETDIP_TARGET_AVX2 static V Avg8(V a, V b) { return _mm256_avg_epu8(a, b); }
    ZETDIP_TARGET_AVX2 static V Srl16(V a, __m128i shift) { return _mm256_srl_epi16(a, shift); }
    ZETDIP_TARGET_AVX2 static V And(V a, V b) { return _mm256_and_si256(a, b); }
    ZETDIP_TARGET_AVX2 static V CmpEq8(V a, V b) { return _mm256_cmpeq_epi8(a, b); }
    ZETDIP_TARGET_AVX2 static std::uint32_t Mask8(V a) {
        return static_cast<std::uint32_t>(_mm256_movemask_epi8(a));
    }
    ZETDIP_TARGET_AVX2 static std::uint32_t LowBits8(V a) { return Mask8(_mm256_slli_epi16(a, 7)); }
    ZETDIP_TARGET_AVX2 static V AddSad(V acc, V a) {
        return _mm256_add_epi64(acc, _mm256_sad_epu8(a, _mm256_setzero_si256()));
    }
    ZETDIP_TARGET_AVX2 static std::int64_t Sum64(V a) {
        return Sse2Lanes::Sum64(
            _mm_add_epi64(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1)));
    }
};
#endif

}  // namespace zetdip::detail

#endif  // ZETDIP_POINT_BYTE_LANES_H
