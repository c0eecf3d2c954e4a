// CDipMorphMath and CDipThickness.
#include "DipMorphMath.h"
#include "DipThickness.h"
#include "bindings.h"
#include "docs.h"

namespace zetdip::python {

namespace {

const char* kRule =
    "A pixel takes the extreme of its neighbourhood only when exactly nSECount - 1\n"
    "member neighbours lie on the operation's side of it; otherwise it keeps its value.\n"
    "The frame of half the element's size is copied.\n";

const char* kElement =
    "pSE : array_like\n"
    "    Structuring element of nSEHeight x nSEWidth ints, row-major, non-zero for members.\n"
    "nSEHeight, nSEWidth : int\n    Its size.\n"
    "nSECount : int\n    Members, counting the centre.\n";

void BindMorphMath(py::module_& m) {
    const std::string params = std::string(doc::kSrc) + doc::kDstInPlace + doc::kFormat;
    py::class_<Namespace<5>>(m, "CDipMorphMath", "Grey-level mathematical morphology.")
        .def_static(
            "ApplyErosionWithSE",
            [](const py::array& src, const py::array& dst, int nBitsPerPixel, int nBitsStored,
               int nWidth, int nHeight, const py::object& se, int nSEHeight, int nSEWidth,
               int nSECount) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
                unsigned char* pDst = Image(dst, "pDst", f, Access::Write);
                CheckOverlap(src, "pSrc", dst, "pDst", true);
                const std::vector<int> element = Element(se, "pSE", nSEHeight, nSEWidth);
                py::gil_scoped_release release;
                return CDipMorphMath::ApplyErosionWithSE(pSrc, pDst, nBitsPerPixel, nBitsStored,
                                                         nWidth, nHeight, element.data(), nSEHeight,
                                                         nSEWidth, nSECount);
            },
            ZETDIP_SRC_DST_ARGS, py::arg("pSE"), py::arg("nSEHeight"), py::arg("nSEWidth"),
            py::arg("nSECount"),
            doc::Entry("Erosion with a caller's structuring element, applied flipped top to\n"
                       "bottom.",
                       params + kElement,
                       doc::kBoolResult + std::string("    False for colour and nSEHeight < 3.\n"),
                       kRule)
                .c_str())
        .def_static(
            "ApplyErosionLine", SrcDst<&CDipMorphMath::ApplyErosionLine>, ZETDIP_SRC_DST_ARGS,
            doc::Entry("Erosion by the horizontal 3x3 line.", params, doc::kBoolResult, kRule)
                .c_str())
        .def_static("ApplyErosionDiagNWSE", SrcDst<&CDipMorphMath::ApplyErosionDiagNWSE>,
                    ZETDIP_SRC_DST_ARGS,
                    doc::Entry("Erosion by the diagonal through the top-right and bottom-left\n"
                               "neighbours.",
                               params, doc::kBoolResult, kRule)
                        .c_str())
        .def_static("ApplyErosionDiagSWNE", SrcDst<&CDipMorphMath::ApplyErosionDiagSWNE>,
                    ZETDIP_SRC_DST_ARGS,
                    doc::Entry("Erosion by the diagonal through the top-left and bottom-right\n"
                               "neighbours.",
                               params, doc::kBoolResult, kRule)
                        .c_str())
        .def_static(
            "ApplyErosionCircle", SrcDst<&CDipMorphMath::ApplyErosionCircle>, ZETDIP_SRC_DST_ARGS,
            doc::Entry("Four erosions by the quarter elements.", params, doc::kBoolResult, kRule)
                .c_str())
        .def_static("ApplyDilatation", SrcDst<&CDipMorphMath::ApplyDilatation>, ZETDIP_SRC_DST_ARGS,
                    doc::Entry("Four dilations by the quarter elements.", params,
                               "bool\n    16-bit: True on success. 8-bit: False after a "
                               "successful run (intended).\n",
                               kRule)
                        .c_str())
        .def_static("ApplyOpening", SrcDst<&CDipMorphMath::ApplyOpening>, ZETDIP_SRC_DST_ARGS,
                    doc::Entry("Circle erosion, then dilatation.", params,
                               "bool\n    16-bit: True. 8-bit: writes the opened image and "
                               "reports False.\n",
                               kRule)
                        .c_str())
        .def_static("ApplyClosing", SrcDst<&CDipMorphMath::ApplyClosing>, ZETDIP_SRC_DST_ARGS,
                    doc::Entry("Dilatation, then circle erosion.", params,
                               "bool\n    16-bit: True. 8-bit: False with pDst left as it was\n"
                               "    (the dilatation's False stops it; intended).\n",
                               kRule)
                        .c_str());
}

void BindThickness(py::module_& m) {
    py::class_<Namespace<6>>(m, "CDipThickness", "Image set operations and the thickness stage.")
        .def_static(
            "CreateUnionBetweenImages",
            [](const py::array& a, const py::array& b, const py::array& dst, int nWidthA,
               int nHeightA, int nBitsPerPixelA, int nBitsStoredA, int nWidthB, int nHeightB,
               int nBitsPerPixelB, int nBitsStoredB) {
                const Format fa{nBitsPerPixelA, nBitsStoredA, nWidthA, nHeightA};
                const Format fb{nBitsPerPixelB, nBitsStoredB, nWidthB, nHeightB};
                unsigned char* pA = Image(a, "pSrcA", fa, Access::Read);
                unsigned char* pB = Image(b, "pSrcB", fb, Access::Read);
                unsigned char* pDst = Image(dst, "pDst", fa, Access::Write);
                CheckOverlap(a, "pSrcA", dst, "pDst", true);
                CheckOverlap(b, "pSrcB", dst, "pDst", true);
                py::gil_scoped_release release;
                return CDipThickness::CreateUnionBetweenImages(
                    pA, pB, pDst, nWidthA, nHeightA, nBitsPerPixelA, nBitsStoredA, nWidthB,
                    nHeightB, nBitsPerPixelB, nBitsStoredB);
            },
            py::arg("pSrcA"), py::arg("pSrcB"), py::arg("pDst"), py::arg("nWidthA"),
            py::arg("nHeightA"), py::arg("nBitsPerPixelA"), py::arg("nBitsStoredA"),
            py::arg("nWidthB"), py::arg("nHeightB"), py::arg("nBitsPerPixelB"),
            py::arg("nBitsStoredB"),
            doc::Entry("Union: the full scale where either sample is non-zero, else 0.",
                       "pSrcA, pSrcB : numpy.ndarray\n"
                       "    The two sets, each shaped and typed by its own format arguments.\n"
                       "pDst : numpy.ndarray\n    Writeable, shaped as pSrcA; may be either "
                       "source.\n"
                       "nWidthA, nHeightA, nBitsPerPixelA, nBitsStoredA : int\n    Format of A.\n"
                       "nWidthB, nHeightB, nBitsPerPixelB, nBitsStoredB : int\n    Format of B.\n",
                       "bool\n    False, nothing written, for any mismatch of the formats.\n")
                .c_str())
        .def_static(
            "ApplyThicknessWavStage",
            [](const py::array& a, const py::array& b, const py::array& dst, int nBitsPerPixel,
               int nBitsStored, int nWidth, int nHeight, const py::object& hit, int nHitSEHeight,
               int nHitSEWidth, int nHitSECount, const py::object& miss, int nMissSEHeight,
               int nMissSEWidth, int nMissSECount) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pA = Image(a, "pSrcA", f, Access::Read);
                unsigned char* pB = Image(b, "pSrcB", f, Access::Read);
                unsigned char* pDst = Image(dst, "pDst", f, Access::Write);
                CheckOverlap(a, "pSrcA", dst, "pDst", true);
                CheckOverlap(b, "pSrcB", dst, "pDst", true);
                const std::vector<int> hitSE = Element(hit, "pHitSE", nHitSEHeight, nHitSEWidth);
                const std::vector<int> missSE =
                    Element(miss, "pMissSE", nMissSEHeight, nMissSEWidth);
                py::gil_scoped_release release;
                return CDipThickness::ApplyThicknessWavStage(
                    pA, pB, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight, hitSE.data(),
                    nHitSEHeight, nHitSEWidth, nHitSECount, missSE.data(), nMissSEHeight,
                    nMissSEWidth, nMissSECount);
            },
            py::arg("pSrcA"), py::arg("pSrcB"), py::arg("pDst"), ZETDIP_FORMAT_ARGS,
            py::arg("pHitSE"), py::arg("nHitSEHeight"), py::arg("nHitSEWidth"),
            py::arg("nHitSECount"), py::arg("pMissSE"), py::arg("nMissSEHeight"),
            py::arg("nMissSEWidth"), py::arg("nMissSECount"),
            doc::Entry("One thickening step of A constrained by B:\n"
                       "pDst = (A u hit-or-miss(A)) n B.",
                       std::string("pSrcA, pSrcB : numpy.ndarray\n    The set and its "
                                   "constraint, typed and shaped as an image.\n"
                                   "pDst : numpy.ndarray\n    Writeable; may be either source.\n") +
                           doc::kFormat +
                           "pHitSE, pMissSE : array_like\n    Hit and miss elements (int).\n"
                           "nHitSEHeight, nHitSEWidth, nHitSECount : int\n    Hit element.\n"
                           "nMissSEHeight, nMissSEWidth, nMissSECount : int\n    Miss element.\n",
                       doc::kBoolResult)
                .c_str());
}

}  // namespace

void BindMorphology(py::module_& m) {
    BindMorphMath(m);
    BindThickness(m);
}

}  // namespace zetdip::python
