// CDipClustering and CDipTest.
#include "DipClustering.h"
#include "DipTest.h"
#include "bindings.h"
#include "docs.h"

namespace zetdip::python {

namespace {

const char* kPoints =
    "    A list of (x, y) pairs, the C++ point array: replaced in place by the array's\n"
    "    contents after the call (y = nHeight - row). Never emptied.\n";

void BindClusteringClass(py::module_& m) {
    py::class_<Namespace<8>>(m, "CDipClustering",
                             "Line search, false-positive removal, microcalcifications and "
                             "clusters.")
        .def_static(
            "ApplyFPRemovalCAD",
            [](const py::object& exclusion, const py::array& src, const py::array& dst,
               int nBitsPerPixel, int nBitsStored, int nHeight, int nWidth, bool bUseExclusion) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pExclusion = OptionalImage(exclusion, "pExclusion", f, Access::Read);
                if (bUseExclusion && exclusion.is_none())
                    throw py::value_error(
                        "pExclusion: expected an image when bUseExclusion is True, got None");
                unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
                unsigned char* pDst = Image(dst, "pDst", f, Access::Write);
                CheckOverlap(src, "pSrc", dst, "pDst", true);
                if (pExclusion != nullptr)
                    CheckOverlap(exclusion.cast<py::array>(), "pExclusion", dst, "pDst", true);
                py::gil_scoped_release release;
                return CDipClustering::ApplyFPRemovalCAD(pExclusion, pSrc, pDst, nBitsPerPixel,
                                                         nBitsStored, nHeight, nWidth,
                                                         bUseExclusion);
            },
            py::arg("pExclusion"), py::arg("pSrc"), py::arg("pDst"), py::arg("nBitsPerPixel"),
            py::arg("nBitsStored"), py::arg("nHeight"), py::arg("nWidth"), py::arg("bUseExclusion"),
            doc::Entry("Removes isolated and, on request, excluded candidate pixels.",
                       "pExclusion : numpy.ndarray or None\n"
                       "    Exclusion image like pSrc; read only when bUseExclusion is True.\n" +
                           std::string(doc::kSrc) + doc::kDstInPlace +
                           "nBitsPerPixel, nBitsStored : int\n    Format.\n"
                           "nHeight, nWidth : int\n    Image size: height first, as in C++.\n"
                           "bUseExclusion : bool\n    Whether pExclusion clears candidates.\n",
                       doc::kBoolResult)
                .c_str())
        .def_static(
            "ApplyClustering",
            [](const py::array& src, const py::array& binary, const py::array& mask,
               py::list circles, int nBitsPerPixel, int nBitsStored, int nWidth, int nHeight,
               double dPixelSizeX, double dPixelSizeY) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
                unsigned char* pBinary = Image(binary, "pBinary", f, Access::Read);
                unsigned char* pMask = Image(mask, "pMask", f, Access::Read);
                CArray<CPoint, const CPoint&> arr;
                ToPoints(circles, "arrCircles", arr);
                bool bOk = false;
                {
                    py::gil_scoped_release release;
                    bOk = CDipClustering::ApplyClustering(pSrc, pBinary, pMask, arr, nBitsPerPixel,
                                                          nBitsStored, nWidth, nHeight, dPixelSizeX,
                                                          dPixelSizeY);
                }
                FromPoints(arr, circles);
                return bOk;
            },
            py::arg("pSrc"), py::arg("pBinary"), py::arg("pMask"), py::arg("arrCircles"),
            ZETDIP_FORMAT_ARGS, py::arg("dPixelSizeX"), py::arg("dPixelSizeY"),
            doc::Entry("Finds microcalcifications among the candidates, groups them into clusters\n"
                       "and appends one circle pair (centre, rim point) per new cluster.",
                       std::string(doc::kSrc) +
                           "pBinary : numpy.ndarray\n    Candidate pixels, same dtype and shape.\n"
                           "pMask : numpy.ndarray\n    Breast mask, same dtype and shape.\n"
                           "arrCircles : list\n" +
                           kPoints + doc::kFormat +
                           "dPixelSizeX, dPixelSizeY : float\n    Millimetres per pixel.\n",
                       doc::kBoolResult,
                       "A list of odd length raises ValueError once a cluster is tested against\n"
                       "its incomplete last pair; the list is then left as it was.\n")
                .c_str())
        .def_static("SearchLinesImage", SrcDst<&CDipClustering::SearchLinesImage>,
                    ZETDIP_SRC_DST_ARGS,
                    doc::Entry("Binary image of north-south line structures.",
                               std::string(doc::kSrc) + doc::kDstInPlace + doc::kFormat,
                               "bool\n    False outside the level gate (8-bit: pDst untouched;\n"
                               "    16-bit: pDst all 0).\n")
                        .c_str())
        .def_static(
            "SearchLinesSWNEImage",
            [](const py::array& src, const py::array& lines, const py::array& mask,
               int nBitsPerPixel, int nBitsStored, int nWidth, int nHeight, double dPixelSize) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
                unsigned char* pLines = Image(lines, "pLines", f, Access::Write);
                unsigned char* pMask = Image(mask, "pMask", f, Access::Read);
                CheckOverlap(src, "pSrc", lines, "pLines", true);
                CheckOverlap(mask, "pMask", lines, "pLines", true);
                py::gil_scoped_release release;
                return CDipClustering::SearchLinesSWNEImage(
                    pSrc, pLines, pMask, nBitsPerPixel, nBitsStored, nWidth, nHeight, dPixelSize);
            },
            py::arg("pSrc"), py::arg("pLines"), py::arg("pMask"), ZETDIP_FORMAT_ARGS,
            py::arg("dPixelSize"),
            doc::Entry("Adds diagonal line structures found inside pMask to pLines by union.",
                       std::string(doc::kSrc) +
                           "pLines : numpy.ndarray\n    Writeable line image, same dtype and "
                           "shape.\n"
                           "pMask : numpy.ndarray\n    Breast mask, same dtype and shape.\n" +
                           doc::kFormat + "dPixelSize : float\n    Millimetres per pixel.\n",
                       doc::kBoolResult,
                       "8-bit: runs SearchLinesImage instead, overwriting pLines (intended).\n")
                .c_str());
}

void BindTest(py::module_& m) {
    py::class_<Namespace<9>>(m, "CDipTest", "Experimental test bench.")
        .def_static(
            "ApplyClustering",
            [](const py::array& binary, py::list centres, int nBitsPerPixel, int nBitsStored,
               int nWidth, int nHeight, int nHighBit, double dPixelSizeX, double dPixelSizeY) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                // The 16-bit path adjusts the caller's words in place.
                unsigned char* pBinary =
                    Image(binary, "pBinary", f, nBitsStored > 8 ? Access::Write : Access::Read);
                CArray<CPoint, const CPoint&> arr;
                ToPoints(centres, "arrCentres", arr);
                bool bOk = false;
                {
                    py::gil_scoped_release release;
                    bOk =
                        CDipTest::ApplyClustering(pBinary, arr, nBitsPerPixel, nBitsStored, nWidth,
                                                  nHeight, nHighBit, dPixelSizeX, dPixelSizeY);
                }
                FromPoints(arr, centres);
                return bOk;
            },
            py::arg("pBinary"), py::arg("arrCentres"), ZETDIP_FORMAT_ARGS, py::arg("nHighBit"),
            py::arg("dPixelSizeX"), py::arg("dPixelSizeY"),
            doc::Entry("Simpler clustering of a candidate image: appends the mean position\n"
                       "(cx, nHeight - cy) of each cluster.",
                       "pBinary : numpy.ndarray\n    Candidate image (16-bit: writeable, adjusted "
                       "in place by CDipBasic.AdjustPixels16Bits first).\n"
                       "arrCentres : list\n" +
                           std::string(kPoints) + doc::kFormat +
                           "nHighBit : int\n    High bit of the 16-bit words.\n"
                           "dPixelSizeX, dPixelSizeY : float\n    Millimetres per pixel.\n",
                       doc::kBoolResult)
                .c_str());
}

}  // namespace

void BindClustering(py::module_& m) {
    BindClusteringClass(m);
    BindTest(m);
}

}  // namespace zetdip::python
