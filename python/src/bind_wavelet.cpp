// CDipWavelet.
#include <algorithm>

#include "DipWavelet.h"
#include "bindings.h"
#include "docs.h"

namespace zetdip::python {

namespace {

// The decomposition writes up to four levels of parities.
constexpr long long kParityEntries = 4;

const char* kParities =
    "pWidthOdd, pHeightOdd : numpy.ndarray or None\n"
    "    Writeable int32 arrays of at least 4 entries (and nLevels) for the band parities\n"
    "    per level; None stands for a null pointer and makes the call fail.\n";

}  // namespace

void BindWavelet(py::module_& m) {
    py::class_<Namespace<7>>(m, "CDipWavelet", "Biorthogonal wavelet pyramid.")
        .def_static(
            "ApplyWaveletDecomposition",
            [](const py::array& src, const py::array& coef, int nWidth, int nHeight,
               int nBitsPerPixel, int nBitsStored, const py::object& widthOdd,
               const py::object& heightOdd, int nIgnored) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
                double* pCoef = Coefficients(coef, "pCoef", nWidth, nHeight);
                int* pWidthOdd = OptionalInts(widthOdd, "pWidthOdd", kParityEntries);
                int* pHeightOdd = OptionalInts(heightOdd, "pHeightOdd", kParityEntries);
                int nLowWidth = 0, nLowHeight = 0;
                bool bOk = false;
                {
                    py::gil_scoped_release release;
                    bOk = CDipWavelet::ApplyWaveletDecomposition(
                        pSrc, pCoef, nWidth, nHeight, nBitsPerPixel, nBitsStored, nLowWidth,
                        nLowHeight, pWidthOdd, pHeightOdd, nIgnored);
                }
                return py::make_tuple(bOk, nLowWidth, nLowHeight);
            },
            py::arg("pSrc"), py::arg("pCoef"), py::arg("nWidth"), py::arg("nHeight"),
            py::arg("nBitsPerPixel"), py::arg("nBitsStored"), py::arg("pWidthOdd"),
            py::arg("pHeightOdd"), py::arg("nIgnored") = 0,
            doc::Entry("Decomposes an image into up to four levels of a 2-D wavelet pyramid.",
                       std::string(doc::kSrc) +
                           "pCoef : numpy.ndarray\n"
                           "    Writeable float64 array of shape (nHeight, nWidth), overwritten\n"
                           "    with the pyramid.\n"
                           "nWidth, nHeight : int\n    Image size in samples.\n"
                           "nBitsPerPixel, nBitsStored : int\n    Format of pSrc.\n" +
                           kParities + "nIgnored : int, optional\n    Not read.\n",
                       "tuple of (bool, int, int)\n"
                       "    The result, then rLowWidth and rLowHeight: the low band's size after\n"
                       "    the last level (0 where the call did not set them).\n",
                       "A level runs while the band is at least 16 wide and high; the low half of\n"
                       "each run goes first.\n")
                .c_str())
        .def_static(
            "ApplyWaveletReconstruction",
            [](const py::array& coef, const py::array& dst, int nBitsPerPixel, int nBitsStored,
               int nWidth, int nHeight, int nKeepLevelA, int nKeepLevelB, int nLowWidth,
               int nLowHeight, const py::object& widthOdd, const py::object& heightOdd,
               int nLevels) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                double* pCoef = Coefficients(coef, "pCoef", nWidth, nHeight);
                unsigned char* pDst = Image(dst, "pDst", f, Access::Write);
                CheckOverlap(coef, "pCoef", dst, "pDst", false);
                // The reconstruction reads one parity per level.
                const long long nEntries = std::max<long long>(kParityEntries, nLevels);
                int* pWidthOdd = OptionalInts(widthOdd, "pWidthOdd", nEntries);
                int* pHeightOdd = OptionalInts(heightOdd, "pHeightOdd", nEntries);
                py::gil_scoped_release release;
                return CDipWavelet::ApplyWaveletReconstruction(
                    pCoef, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight, nKeepLevelA,
                    nKeepLevelB, nLowWidth, nLowHeight, pWidthOdd, pHeightOdd, nLevels);
            },
            py::arg("pCoef"), py::arg("pDst"), ZETDIP_FORMAT_ARGS, py::arg("nKeepLevelA"),
            py::arg("nKeepLevelB"), py::arg("nLowWidth"), py::arg("nLowHeight"),
            py::arg("pWidthOdd"), py::arg("pHeightOdd"), py::arg("nLevels"),
            doc::Entry("Rebuilds a binary image from a pyramid keeping the detail bands of\n"
                       "levels nKeepLevelA and nKeepLevelB only.",
                       "pCoef : numpy.ndarray\n"
                       "    Writeable float64 pyramid of shape (nHeight, nWidth); overwritten.\n"
                       "pDst : numpy.ndarray\n    Writeable binary image (dtype per "
                       "nBitsStored).\n" +
                           std::string(doc::kFormat) +
                           "nKeepLevelA, nKeepLevelB : int\n    Levels whose details are kept.\n"
                           "nLowWidth, nLowHeight : int\n    Low-band size from the "
                           "decomposition.\n" +
                           kParities + "nLevels : int\n    Levels to invert.\n",
                       doc::kBoolResult,
                       "Each sample is the low bits of (int)|value|, thresholded at half the\n"
                       "range; 16-bit values are scaled by 2**nBitsStored / 256 (intended).\n")
                .c_str())
        .def_static(
            "ApplySubstraction",
            [](const py::array& a, const py::array& b, const py::array& dst, int nBitsPerPixel,
               int nBitsStored, int nWidth, int nHeight) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pA = Image(a, "pSrcA", f, Access::Read);
                unsigned char* pB = Image(b, "pSrcB", f, Access::Read);
                unsigned char* pDst = Image(dst, "pDst", f, Access::Write);
                CheckOverlap(a, "pSrcA", dst, "pDst", true);
                CheckOverlap(b, "pSrcB", dst, "pDst", true);
                py::gil_scoped_release release;
                return CDipWavelet::ApplySubstraction(pA, pB, pDst, nBitsPerPixel, nBitsStored,
                                                      nWidth, nHeight);
            },
            py::arg("pSrcA"), py::arg("pSrcB"), py::arg("pDst"), ZETDIP_FORMAT_ARGS,
            doc::Entry("Set difference A minus B: 0 where pSrcB is non-zero, else the pSrcA\n"
                       "sample.",
                       "pSrcA, pSrcB : numpy.ndarray\n    Images of the same dtype and shape.\n"
                       "pDst : numpy.ndarray\n    Writeable; may be either source.\n" +
                           std::string(doc::kFormat),
                       doc::kBoolResult)
                .c_str());
}

}  // namespace zetdip::python
