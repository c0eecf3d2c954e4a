// Process-wide allocator settings for the programs that run the chain.
#ifndef ZETDIP_HOST_CORE_MEMORY_H
#define ZETDIP_HOST_CORE_MEMORY_H

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace zetdip::host {

// The chain takes and releases several image-sized scratch buffers per
// image. By default the C library maps each one afresh and unmaps it on
// release, and the kernel then faults in and zeroes every page again: about
// a fifth of the chain's time on a full-field mammogram. Kept in the heap
// instead, a released buffer serves the next request; the process keeps its
// peak size, which it reaches on every image anyway. Called once by a
// program before any work; a library never calls it.
inline void KeepReleasedBuffersForReuse() {
#if defined(__GLIBC__)
    constexpr int kLarge = 1 << 30;
    mallopt(M_MMAP_THRESHOLD, kLarge);
    mallopt(M_TRIM_THRESHOLD, kLarge);
#endif
}

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CORE_MEMORY_H
