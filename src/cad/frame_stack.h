// Explicit stack of recursion frames for the region growings, so that a
// blob or a cluster of any size is grown without deep machine recursion.
#ifndef ZETDIP_CAD_FRAME_STACK_H
#define ZETDIP_CAD_FRAME_STACK_H

#include <cstddef>
#include <memory>

#include "core/common.h"

namespace zetdip::detail {

// LIFO of frames. Storage comes from nothrow array new and doubles when
// full; Push reports false when no memory can be had, so that a growing can
// stop and tell its caller instead of failing.
template <class Frame>
class FrameStack {
public:
    // Makes room for n frames in all; false when that memory cannot be had.
    bool Reserve(std::size_t n) {
        if (n <= m_nCapacity) return true;
        std::unique_ptr<Frame[]> pData = NewScratch<Frame>(n);
        if (!pData) return false;
        for (std::size_t i = 0; i < m_nSize; ++i) pData[i] = m_pData[i];
        m_pData = std::move(pData);
        m_nCapacity = n;
        return true;
    }

    bool Push(const Frame& frame) {
        if (m_nSize == m_nCapacity &&
            !Reserve(m_nCapacity < kFirstCapacity ? kFirstCapacity : 2 * m_nCapacity))
            return false;
        m_pData[m_nSize++] = frame;
        return true;
    }

    Frame Pop() { return m_pData[--m_nSize]; }
    bool Empty() const { return m_nSize == 0; }
    void Clear() { m_nSize = 0; }

    // Gives the storage back (the frames are dropped).
    void Release() {
        m_pData.reset();
        m_nSize = 0;
        m_nCapacity = 0;
    }

private:
    static constexpr std::size_t kFirstCapacity = 4096;

    std::unique_ptr<Frame[]> m_pData;
    std::size_t m_nSize = 0;
    std::size_t m_nCapacity = 0;
};

}  // namespace zetdip::detail

#endif  // ZETDIP_CAD_FRAME_STACK_H
