// Instruction-set paths of the hot kernels. A kernel with a vector path is
// compiled twice, for the baseline processor and with AVX2, from one body;
// kAuto takes AVX2 where the processor has it. The paths give identical
// results (no contraction of multiply-adds, integer kernels exact), and the
// tests run every path the machine supports. Configuring with
// -DZETDIP_DISPATCH=OFF builds the baseline path alone.
#ifndef ZETDIP_CORE_CPU_H
#define ZETDIP_CORE_CPU_H

#if defined(ZETDIP_DISPATCH) && defined(__GNUC__) && defined(__x86_64__)
#define ZETDIP_HAS_AVX2_PATH 1
#define ZETDIP_TARGET_AVX2 __attribute__((target("avx2")))
#else
#define ZETDIP_HAS_AVX2_PATH 0
#define ZETDIP_TARGET_AVX2
#endif

#if defined(__GNUC__)
#define ZETDIP_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define ZETDIP_ALWAYS_INLINE inline
#endif

// Table lookups that the vectorizer would turn into emulated gathers,
// slower than the scalar loads.
#if defined(__GNUC__) && !defined(__clang__)
#define ZETDIP_NO_VECTORIZE __attribute__((optimize("no-tree-vectorize")))
#else
#define ZETDIP_NO_VECTORIZE
#endif

namespace zetdip::detail {

enum class VectorPath { kAuto, kBaseline, kAvx2 };

// Whether this build and this processor can run the path.
inline bool VectorPathAvailable(VectorPath path) {
    if (path != VectorPath::kAvx2) return true;
#if ZETDIP_HAS_AVX2_PATH
    return __builtin_cpu_supports("avx2") != 0;
#else
    return false;
#endif
}

// kAuto resolved to the path that runs.
inline VectorPath ResolvePath(VectorPath path) {
    if (path == VectorPath::kAuto)
        return VectorPathAvailable(VectorPath::kAvx2) ? VectorPath::kAvx2 : VectorPath::kBaseline;
    return VectorPathAvailable(path) ? path : VectorPath::kBaseline;
}

}  // namespace zetdip::detail

#endif  // ZETDIP_CORE_CPU_H
