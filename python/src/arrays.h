// Checks that turn numpy arrays into the library's raw buffers. The library
// trusts its caller with every size; a Python caller gets a ValueError that
// names the argument and what was expected instead of a read past a buffer.
#ifndef ZETDIP_PYTHON_ARRAYS_H
#define ZETDIP_PYTHON_ARRAYS_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "HostFramework.h"

namespace zetdip::python {

namespace py = pybind11;

// The format arguments that describe one image argument.
struct Format {
    int nBitsPerPixel;
    int nBitsStored;
    int nWidth;
    int nHeight;
};

enum class Access { Read, Write };

// Whether the library's dispatch accepts the depth. Outside it every entry
// returns its failure value without touching a buffer, so the arrays are not
// held to a dtype or shape then and the call returns what C++ returns.
inline bool DepthDispatched(int nBitsStored) {
    return nBitsStored >= 8 && nBitsStored <= 16;
}

// An image argument: uint8 (nBitsStored 8) or uint16 (9..16), C-contiguous,
// shape (nHeight, nWidth); 24-bit colour is (nHeight, nWidth, 3) or
// (3, nHeight, nWidth) uint8, passed in buffer order.
unsigned char* Image(const py::array& a, const char* pszName, const Format& f, Access access);

// Same as Image, but None is allowed and gives a null pointer.
unsigned char* OptionalImage(const py::object& o, const char* pszName, const Format& f,
                             Access access);

// A C-contiguous array of dtype T holding at least nCount elements.
template <class T>
T* Buffer(const py::array& a, const char* pszName, long long nCount, Access access);

// A C-contiguous float64 array of shape (nHeight, nWidth).
double* Coefficients(const py::array& a, const char* pszName, int nWidth, int nHeight);

// A writeable C-contiguous int32 array of at least nCount entries, or None.
int* OptionalInts(const py::object& o, const char* pszName, long long nCount);

// A structuring element: anything numpy turns into int32 values, with at
// least nSEHeight * nSEWidth of them. Small and read-only, so it is copied.
std::vector<int> Element(const py::object& o, const char* pszName, int nSEHeight, int nSEWidth);

// Refuses two buffers that share memory without being the same buffer, and
// the same buffer where the entry needs distinct ones.
void CheckOverlap(const py::array& a, const char* pszA, const py::array& b, const char* pszB,
                  bool bMayBeSame);

// A Python list of (x, y) pairs as the library's point array, and back: the
// list is replaced in place by the array's contents after the call, since
// the clustering both appends and merges into earlier entries.
void ToPoints(const py::list& list, const char* pszName, CArray<CPoint, const CPoint&>& arr);
void FromPoints(const CArray<CPoint, const CPoint&>& arr, py::list& list);

}  // namespace zetdip::python

#endif  // ZETDIP_PYTHON_ARRAYS_H
