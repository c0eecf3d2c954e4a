// CDipFilters: kernel filters and breast segmentation.
#include "DipFilters.h"
#include "bindings.h"
#include "docs.h"

namespace zetdip::python {

namespace {

const char* kMaskNote =
    "Breast operations expect the chest-wall end of an MLO view at the high row indices:\n"
    "flip a top-down image (np.flipud) before the call and the mask back after it.\n";

}  // namespace

void BindFilters(py::module_& m) {
    const std::string params = std::string(doc::kSrc) + doc::kDstInPlace + doc::kFormat;
    const std::string filter =
        "3x3 kernels placed mirrored vertically; the outer one-sample\n"
        "frame is copied; results are clamped to 0..max and truncated.\n"
        "24-bit colour returns True and writes nothing.\n";
    py::class_<Namespace<4>>(m, "CDipFilters", "Neighbourhood filters and breast segmentation.")
        .def_static("ApplyMean", SrcDst<&CDipFilters::ApplyMean>, ZETDIP_SRC_DST_ARGS,
                    doc::Entry("3x3 mean: the sum of the nine samples divided by 9.", params,
                               doc::kBoolResult, filter)
                        .c_str())
        .def_static("ApplyGradientNS", SrcDst<&CDipFilters::ApplyGradientNS>, ZETDIP_SRC_DST_ARGS,
                    doc::Entry("North-south gradient: off + 10 * (row above - row below), off\n"
                               "half the range.",
                               params, doc::kBoolResult, filter)
                        .c_str())
        .def_static("ApplyGradientSWNE", SrcDst<&CDipFilters::ApplyGradientSWNE>,
                    ZETDIP_SRC_DST_ARGS,
                    doc::Entry("South-west to north-east gradient, kernel (rows 0..2)\n"
                               "[0 -10 -10 | 10 0 -10 | 10 10 0].",
                               params, doc::kBoolResult, filter)
                        .c_str())
        .def_static("ApplyGradientNWSE", SrcDst<&CDipFilters::ApplyGradientNWSE>,
                    ZETDIP_SRC_DST_ARGS,
                    doc::Entry("North-west to south-east gradient, kernel (rows 0..2)\n"
                               "[-10 -10 0 | -10 0 10 | 0 10 10].",
                               params, doc::kBoolResult, filter)
                        .c_str())
        .def_static(
            "ApplyGauss", SrcDst<&CDipFilters::ApplyGauss>, ZETDIP_SRC_DST_ARGS, py::arg("fSigma"),
            doc::Entry("3x3 Gaussian of fSigma, divided by the kernel's own sum.",
                       params + "fSigma : float\n    Standard deviation, rounded to float32.\n",
                       doc::kBoolResult, filter)
                .c_str())
        .def_static(
            "ApplyDOG", SrcDst<&CDipFilters::ApplyDOG>, ZETDIP_SRC_DST_ARGS, py::arg("fSigma1"),
            py::arg("fGain"), py::arg("fSigma2"), py::arg("fSigma3"),
            doc::Entry("Difference of Gaussians: H = max(0, src - G(fSigma1) src), then\n"
                       "(int)(fGain * G(fSigma2) H - G(fSigma3) H) per sample.",
                       params + "fSigma1, fGain, fSigma2, fSigma3 : float\n"
                                "    Sigmas and gain, rounded to float32.\n",
                       doc::kBoolResult,
                       "Negative values give 0; values above the range keep their low bits.\n")
                .c_str())
        .def_static(
            "IsOnTheRightOrLeftSideOfTheImage",
            [](const py::array& src, int nBitsPerPixel, int nBitsStored, int nWidth, int nHeight,
               float fRowFraction) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
                py::gil_scoped_release release;
                return CDipFilters::IsOnTheRightOrLeftSideOfTheImage(
                    pSrc, nBitsPerPixel, nBitsStored, nWidth, nHeight, fRowFraction);
            },
            py::arg("pSrc"), ZETDIP_FORMAT_ARGS, py::arg("fRowFraction"),
            doc::Entry("Side of the breast from eight probes of row (int)(nHeight * fRowFraction).",
                       std::string(doc::kSrc) + doc::kFormat +
                           "fRowFraction : float\n    Row of the probes as a fraction of the "
                           "height, in [0, 1).\n",
                       "int\n    1 right, 0 left, -1 undecided or refused.\n")
                .c_str())
        .def_static(
            "CreateMaskOfBreast",
            [](const py::array& src, const py::array& dst, int nBitsPerPixel, int nBitsStored,
               int nWidth, int nHeight, bool bBreastOnRight, double dPixelSize) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
                unsigned char* pDst = Image(dst, "pDst", f, Access::Write);
                CheckOverlap(src, "pSrc", dst, "pDst", false);
                bool bOk = false;
                {
                    py::gil_scoped_release release;
                    bOk = CDipFilters::CreateMaskOfBreast(pSrc, pDst, nBitsPerPixel, nBitsStored,
                                                          nWidth, nHeight, bBreastOnRight,
                                                          dPixelSize);
                }
                return py::make_tuple(bOk, bBreastOnRight);
            },
            ZETDIP_SRC_DST_ARGS, py::arg("bBreastOnRight"), py::arg("dPixelSize"),
            doc::Entry("Binary mask of the breast: full scale inside, 0 outside.",
                       std::string(doc::kSrc) +
                           "pDst : numpy.ndarray\n    Writeable mask of the same dtype and shape, "
                           "distinct from pSrc.\n" +
                           doc::kFormat +
                           "bBreastOnRight : bool\n    The caller's side (the C++ reference "
                           "argument).\n"
                           "dPixelSize : float\n    Millimetres per pixel.\n",
                       "tuple of (bool, bool)\n"
                       "    The result and bBreastOnRight as the call left it (16-bit: set when\n"
                       "    the probe says right).\n",
                       kMaskNote)
                .c_str())
        .def_static(
            "RemovePectoralMuscleFromMask",
            [](const py::array& src, const py::array& mask, int nBitsPerPixel, int nBitsStored,
               int nWidth, int nHeight, bool bBreastOnRight, double dPixelSize) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
                unsigned char* pMask = Image(mask, "pMask", f, Access::Write);
                CheckOverlap(src, "pSrc", mask, "pMask", false);
                py::gil_scoped_release release;
                return CDipFilters::RemovePectoralMuscleFromMask(pSrc, pMask, nBitsPerPixel,
                                                                 nBitsStored, nWidth, nHeight,
                                                                 bBreastOnRight, dPixelSize);
            },
            py::arg("pSrc"), py::arg("pMask"), ZETDIP_FORMAT_ARGS, py::arg("bBreastOnRight"),
            py::arg("dPixelSize"),
            doc::Entry("Clears the pectoral muscle from a breast mask in place.",
                       std::string(doc::kSrc) +
                           "pMask : numpy.ndarray\n    Writeable breast mask, same dtype and "
                           "shape.\n" +
                           doc::kFormat +
                           "bBreastOnRight : bool\n    Side of the breast.\n"
                           "dPixelSize : float\n    Millimetres per pixel.\n",
                       "bool\n    False with the mask untouched when no muscle is found; the\n"
                       "    8-bit removal always reports False (intended).\n",
                       kMaskNote)
                .c_str());
}

}  // namespace zetdip::python
