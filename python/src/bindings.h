// One registration function per family of classes, and the wrapper shared by
// the many entries shaped (pSrc, pDst, nBitsPerPixel, nBitsStored, nWidth,
// nHeight).
#ifndef ZETDIP_PYTHON_BINDINGS_H
#define ZETDIP_PYTHON_BINDINGS_H

#include <pybind11/pybind11.h>

#include "arrays.h"

namespace zetdip::python {

void BindPointOperations(
    py::module_& m);                  // CDipBasic, CDipEnhancement, CDipThresholding, CDipHisto
void BindFilters(py::module_& m);     // CDipFilters
void BindMorphology(py::module_& m);  // CDipMorphMath, CDipThickness
void BindWavelet(py::module_& m);     // CDipWavelet
void BindClustering(py::module_& m);  // CDipClustering, CDipTest
void BindHost(py::module_& m);        // files, the detection chain, the batch pieces

// The classes have no constructible instances; a tag type per class carries
// the static functions on the Python side.
template <int N>
struct Namespace {};

// The wrapper of every entry shaped (pSrc, pDst, nBitsPerPixel, nBitsStored,
// nWidth, nHeight, extra...): both arrays checked against the format (the
// destination may be the source), the GIL released during the call, the
// extra arguments passed on as they are.
template <auto F, class Entry = decltype(F)>
struct SrcDstCall;

template <auto F, class... Extra>
struct SrcDstCall<F, bool (*)(unsigned char*, unsigned char*, int, int, int, int, Extra...)> {
    static bool Call(const py::array& src, const py::array& dst, int nBitsPerPixel, int nBitsStored,
                     int nWidth, int nHeight, Extra... extra) {
        const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
        unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
        unsigned char* pDst = Image(dst, "pDst", f, Access::Write);
        CheckOverlap(src, "pSrc", dst, "pDst", true);
        py::gil_scoped_release release;
        return F(pSrc, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight, extra...);
    }
};

template <auto F>
constexpr auto SrcDst = &SrcDstCall<F>::Call;

// Picks the plain overload of an overloaded entry.
using SrcDstEntry = bool (*)(unsigned char*, unsigned char*, int, int, int, int);

#define ZETDIP_FORMAT_ARGS \
    py::arg("nBitsPerPixel"), py::arg("nBitsStored"), py::arg("nWidth"), py::arg("nHeight")
#define ZETDIP_SRC_DST_ARGS py::arg("pSrc"), py::arg("pDst"), ZETDIP_FORMAT_ARGS

}  // namespace zetdip::python

#endif  // ZETDIP_PYTHON_BINDINGS_H
