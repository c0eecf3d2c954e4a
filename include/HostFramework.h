// Portable stand-ins for the host application framework's point, growable
// array and invalid-argument exception, which the clustering operations use.
#ifndef ZETDIP_HOST_FRAMEWORK_H
#define ZETDIP_HOST_FRAMEWORK_H

#include <cstddef>
#include <stdexcept>

using INT_PTR = std::ptrdiff_t;

// A point of two ints.
struct CPoint {
    int x;
    int y;

    CPoint() : x(0), y(0) {}
    CPoint(int initX, int initY) : x(initX), y(initY) {}

    bool operator==(const CPoint& other) const { return x == other.x && y == other.y; }
    bool operator!=(const CPoint& other) const { return !(*this == other); }
};

// Thrown by CArray for an index outside 0 .. size - 1.
class CInvalidArgException : public std::invalid_argument {
public:
    CInvalidArgException() : std::invalid_argument("invalid argument") {}
    explicit CInvalidArgException(const char* what) : std::invalid_argument(what) {}
};

// Growable array. Appending to a full array grows the storage by an eighth of
// the current size, at least 4 and at most 1024 elements; new storage is
// value-initialised (zeroed for CPoint) and the old elements are copied over.
// Storage exhaustion surfaces as the allocator's exception.
template <class TYPE, class ARG_TYPE = const TYPE&>
class CArray {
public:
    CArray() = default;
    ~CArray() { delete[] m_pData; }
    CArray(const CArray&) = delete;
    CArray& operator=(const CArray&) = delete;

    INT_PTR GetSize() const { return m_nSize; }
    INT_PTR GetCount() const { return m_nSize; }
    bool IsEmpty() const { return m_nSize == 0; }
    INT_PTR GetUpperBound() const { return m_nSize - 1; }

    // Resizes to nNewSize elements; elements added are value-initialised.
    // nGrowBy, when not negative, sets the growth step of later appends.
    void SetSize(INT_PTR nNewSize, INT_PTR nGrowBy = -1) {
        if (nNewSize < 0) throw CInvalidArgException("negative array size");
        if (nGrowBy >= 0) m_nGrowBy = nGrowBy;
        if (nNewSize > m_nMaxSize) Reallocate(nNewSize);
        for (INT_PTR i = m_nSize; i < nNewSize; ++i) m_pData[i] = TYPE();
        m_nSize = nNewSize;
    }

    void RemoveAll() {
        delete[] m_pData;
        m_pData = nullptr;
        m_nSize = 0;
        m_nMaxSize = 0;
    }

    const TYPE& GetAt(INT_PTR nIndex) const { return m_pData[Checked(nIndex)]; }
    void SetAt(INT_PTR nIndex, ARG_TYPE newElement) { m_pData[Checked(nIndex)] = newElement; }
    TYPE& ElementAt(INT_PTR nIndex) { return m_pData[Checked(nIndex)]; }
    const TYPE& ElementAt(INT_PTR nIndex) const { return m_pData[Checked(nIndex)]; }
    TYPE& operator[](INT_PTR nIndex) { return ElementAt(nIndex); }
    const TYPE& operator[](INT_PTR nIndex) const { return GetAt(nIndex); }

    TYPE* GetData() { return m_pData; }
    const TYPE* GetData() const { return m_pData; }

    // Appends one element and returns its index.
    INT_PTR Add(ARG_TYPE newElement) {
        const INT_PTR nIndex = m_nSize;
        if (m_nSize == m_nMaxSize) {
            // Copy first: newElement may refer to an element of this array.
            TYPE copy = newElement;
            Reallocate(m_nSize + GrowStep());
            m_pData[nIndex] = copy;
        } else {
            m_pData[nIndex] = newElement;
        }
        m_nSize = nIndex + 1;
        return nIndex;
    }

private:
    INT_PTR Checked(INT_PTR nIndex) const {
        if (nIndex < 0 || nIndex >= m_nSize) throw CInvalidArgException("array index out of range");
        return nIndex;
    }

    INT_PTR GrowStep() const {
        if (m_nGrowBy > 0) return m_nGrowBy;
        INT_PTR nStep = m_nSize / 8;
        if (nStep < 4) nStep = 4;
        if (nStep > 1024) nStep = 1024;
        return nStep;
    }

    void Reallocate(INT_PTR nNewMax) {
        TYPE* pNew = new TYPE[static_cast<std::size_t>(nNewMax)]();
        for (INT_PTR i = 0; i < m_nSize; ++i) pNew[i] = m_pData[i];
        delete[] m_pData;
        m_pData = pNew;
        m_nMaxSize = nNewMax;
    }

    TYPE* m_pData = nullptr;
    INT_PTR m_nSize = 0;
    INT_PTR m_nMaxSize = 0;
    INT_PTR m_nGrowBy = 0;
};

#endif  // ZETDIP_HOST_FRAMEWORK_H
