// CDipBasic, CDipEnhancement, CDipThresholding and CDipHisto.
#include <cstdint>

#include "DipBasic.h"
#include "DipEnhancement.h"
#include "DipHisto.h"
#include "DipThresholding.h"
#include "bindings.h"
#include "docs.h"

namespace zetdip::python {

namespace {

const char* kWords =
    "pSrc : numpy.ndarray\n"
    "    Writeable C-contiguous uint16 array of pixel words, changed in place.\n";

using WordsEntry = void (*)(unsigned short*, int, int, int, int);

template <WordsEntry F>
void SignEntry(const py::array& src, int nPixelRepresentation, int nBitsPerPixel, int nCount,
               int nBitsStored) {
    unsigned short* p = Buffer<std::uint16_t>(src, "pSrc", nCount, Access::Write);
    py::gil_scoped_release release;
    F(p, nPixelRepresentation, nBitsPerPixel, nCount, nBitsStored);
}

int ThresholdEntry(int (*f)(unsigned char*, int, int, int, int), const py::array& src,
                   int nBitsPerPixel, int nBitsStored, int nWidth, int nHeight) {
    const Format fmt{nBitsPerPixel, nBitsStored, nWidth, nHeight};
    unsigned char* p = Image(src, "pSrc", fmt, Access::Read);
    py::gil_scoped_release release;
    return f(p, nBitsPerPixel, nBitsStored, nWidth, nHeight);
}

void BindBasic(py::module_& m) {
    const std::string sign = doc::Entry(
        "Toggles bit nBitsStored - 1 of nCount words in place when nPixelRepresentation\n"
        "is 1 and nBitsPerPixel is neither 8 nor 24 (two's complement <-> offset\n"
        "binary). Its own inverse.",
        std::string(kWords) +
            "nPixelRepresentation : int\n    1 for signed samples.\n"
            "nBitsPerPixel : int\n    Storage per pixel; 8 and 24 leave the words.\n"
            "nCount : int\n    Words to process; pSrc must hold as many.\n"
            "nBitsStored : int\n    Significant bits per word.\n",
        "None\n");
    py::class_<Namespace<0>>(m, "CDipBasic",
                             "16-bit pixel word adjustment: stored bits down to bit 0 and back, "
                             "and the sign bit of signed samples.")
        .def_static(
            "AdjustPixels16Bits",
            [](const py::array& src, int nBitsStored, int nHighBit, int nWidth, int nHeight) {
                // Words regardless of nBitsStored: the entry has no depth dispatch.
                unsigned short* p = reinterpret_cast<unsigned short*>(
                    Image(src, "pSrc", {16, 16, nWidth, nHeight}, Access::Write));
                py::gil_scoped_release release;
                CDipBasic::AdjustPixels16Bits(p, nBitsStored, nHighBit, nWidth, nHeight);
            },
            py::arg("pSrc"), py::arg("nBitsStored"), py::arg("nHighBit"), py::arg("nWidth"),
            py::arg("nHeight"),
            doc::Entry("Right-aligns the stored bits of the words in place.",
                       "pSrc : numpy.ndarray\n"
                       "    Writeable C-contiguous uint16 array of shape (nHeight, nWidth).\n"
                       "nBitsStored : int\n    Significant bits per word.\n"
                       "nHighBit : int\n    Index of the most significant stored bit.\n"
                       "nWidth, nHeight : int\n    Image size in words.\n",
                       "None\n",
                       "shift = nHighBit - nBitsStored + 1, mask = 0xFFFF >> (16 - nBitsStored):\n"
                       "shift 0 masks each word, shift > 0 gives (w >> shift) & mask, a negative\n"
                       "shift leaves the words untouched.\n")
                .c_str())
        .def_static(
            "UnAdjustPixels16Bits",
            [](const py::array& src, int nBitsStored, int nHighBit, int nCount) {
                unsigned short* p = Buffer<std::uint16_t>(src, "pSrc", nCount, Access::Write);
                py::gil_scoped_release release;
                CDipBasic::UnAdjustPixels16Bits(p, nBitsStored, nHighBit, nCount);
            },
            py::arg("pSrc"), py::arg("nBitsStored"), py::arg("nHighBit"), py::arg("nCount"),
            doc::Entry("Moves the stored bits of nCount words back up in place: w << shift,\n"
                       "low 16 bits, the shift count taken modulo 32.",
                       std::string(kWords) + "nBitsStored : int\n    Significant bits per word.\n"
                                             "nHighBit : int\n    Index of the high bit.\n"
                                             "nCount : int\n    Words to process.\n",
                       "None\n")
                .c_str())
        .def_static("ConvertToSignedIfNeeded", &SignEntry<&CDipBasic::ConvertToSignedIfNeeded>,
                    py::arg("pSrc"), py::arg("nPixelRepresentation"), py::arg("nBitsPerPixel"),
                    py::arg("nCount"), py::arg("nBitsStored"), sign.c_str())
        .def_static("ConvertToUnsignedIfNeeded", &SignEntry<&CDipBasic::ConvertToUnsignedIfNeeded>,
                    py::arg("pSrc"), py::arg("nPixelRepresentation"), py::arg("nBitsPerPixel"),
                    py::arg("nCount"), py::arg("nBitsStored"), sign.c_str());
}

void BindEnhancement(py::module_& m) {
    const std::string params = std::string(doc::kSrc) + doc::kDstInPlace + doc::kFormat;
    py::class_<Namespace<1>>(m, "CDipEnhancement", "Contrast stretching and manipulation.")
        .def_static(
            "ApplyStretching", SrcDst<&CDipEnhancement::ApplyStretching>, ZETDIP_SRC_DST_ARGS,
            py::arg("nLow"), py::arg("nHigh"),
            doc::Entry("Linear stretch of the band [nLow, nHigh) onto the full range.",
                       params + "nLow, nHigh : int\n    The band, in either order.\n",
                       doc::kBoolResult,
                       "v < lo gives 0, lo <= v < hi gives (v - lo) * (M // (hi - lo)), v >= hi\n"
                       "gives M (255, or 2**nBitsStored - 1). nLow == nHigh writes nothing.\n")
                .c_str())
        .def_static("ApplyContrastManip",
                    SrcDst<static_cast<SrcDstEntry>(&CDipEnhancement::ApplyContrastManip)>,
                    ZETDIP_SRC_DST_ARGS,
                    doc::Entry("Contrast manipulation: with max the image maximum, v < max * 0.5\n"
                               "gives 0, anything else 2 * v - max.",
                               params, doc::kBoolResult + std::string("    False for colour.\n"))
                        .c_str())
        .def_static(
            "ApplyContrastManip",
            [](const py::array& src, const py::array& mask, const py::array& dst, int nBitsPerPixel,
               int nBitsStored, int nWidth, int nHeight) {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                unsigned char* pSrc = Image(src, "pSrc", f, Access::Read);
                unsigned char* pMask = Image(mask, "pMask", f, Access::Read);
                unsigned char* pDst = Image(dst, "pDst", f, Access::Write);
                CheckOverlap(src, "pSrc", dst, "pDst", true);
                CheckOverlap(mask, "pMask", dst, "pDst", true);
                py::gil_scoped_release release;
                return CDipEnhancement::ApplyContrastManip(pSrc, pMask, pDst, nBitsPerPixel,
                                                           nBitsStored, nWidth, nHeight);
            },
            py::arg("pSrc"), py::arg("pMask"), py::arg("pDst"), ZETDIP_FORMAT_ARGS,
            doc::Entry("Masked contrast manipulation: max is taken inside pMask, then every\n"
                       "sample v gives 0 when v < max / 2.05, else (v * 2.05 - max) / 1.05 with\n"
                       "its low bits stored (a sample brighter than max wraps).",
                       std::string(doc::kSrc) +
                           "pMask : numpy.ndarray\n    Mask, same dtype and shape; inside where "
                           "non-zero.\n" +
                           doc::kDstInPlace + doc::kFormat,
                       doc::kBoolResult)
                .c_str());
}

void BindThresholding(py::module_& m) {
    const std::string params = std::string(doc::kSrc) + doc::kFormat;
    py::class_<Namespace<2>>(m, "CDipThresholding", "Thresholding and global thresholds.")
        .def_static(
            "ApplyThresholding", SrcDst<&CDipThresholding::ApplyThresholding>, ZETDIP_SRC_DST_ARGS,
            py::arg("nThreshold"),
            doc::Entry("Binarises: a sample below nThreshold gives 0, any other the maximum.",
                       std::string(doc::kSrc) + doc::kDstInPlace + doc::kFormat +
                           "nThreshold : int\n    The level.\n",
                       doc::kBoolResult)
                .c_str())
        .def_static(
            "CalculateThresholdingTHwMD",
            [](const py::array& src, int bpp, int bits, int w, int h) {
                return ThresholdEntry(&CDipThresholding::CalculateThresholdingTHwMD, src, bpp, bits,
                                      w, h);
            },
            py::arg("pSrc"), ZETDIP_FORMAT_ARGS,
            doc::Entry("Threshold (int)(mean + deviation * 3.3) from single-precision running\n"
                       "statistics over every sample.",
                       params, "int\n    The threshold; 0 for colour and bad depths.\n")
                .c_str())
        .def_static(
            "CalculateThresholding1",
            [](const py::array& src, int bpp, int bits, int w, int h) {
                return ThresholdEntry(&CDipThresholding::CalculateThresholding1, src, bpp, bits, w,
                                      h);
            },
            py::arg("pSrc"), ZETDIP_FORMAT_ARGS,
            doc::Entry("Threshold (int)(deviation * 2.5); the mean only centres the deviation.",
                       params, "int\n    The threshold; 0 for colour and bad depths.\n")
                .c_str());
}

void BindHisto(py::module_& m) {
    py::class_<Namespace<3>>(m, "CDipHisto", "Grey-level histograms.")
        .def_static(
            "CreateHisto",
            [](const py::array& src, int nBitsPerPixel, int nBitsStored, int nHighBit, int nWidth,
               int nHeight) -> py::object {
                const Format f{nBitsPerPixel, nBitsStored, nWidth, nHeight};
                // The 16-bit path adjusts the caller's words in place.
                unsigned char* pSrc =
                    Image(src, "pSrc", f, nBitsStored > 8 ? Access::Write : Access::Read);
                int nBins = 0;
                unsigned int* pHisto = nullptr;
                {
                    py::gil_scoped_release release;
                    pHisto = CDipHisto::CreateHisto(pSrc, nBitsPerPixel, nBitsStored, nHighBit,
                                                    nWidth, nHeight, &nBins);
                }
                if (pHisto == nullptr) return py::none();
                // The array takes over the library's allocation: no copy.
                py::capsule owner(pHisto, [](void* p) { delete[] static_cast<unsigned int*>(p); });
                return py::array_t<std::uint32_t>(static_cast<py::ssize_t>(nBins), pHisto, owner);
            },
            py::arg("pSrc"), py::arg("nBitsPerPixel"), py::arg("nBitsStored"), py::arg("nHighBit"),
            py::arg("nWidth"), py::arg("nHeight"),
            doc::Entry("Counts grey levels into 2**nBitsStored bins per channel.",
                       std::string(doc::kSrc) +
                           "    16-bit: must be writeable; it is adjusted in place by\n"
                           "    CDipBasic.AdjustPixels16Bits first.\n"
                           "nBitsPerPixel : int\n    24 for three planes, one histogram each.\n"
                           "nBitsStored : int\n    8, or 9..16.\n"
                           "nHighBit : int\n    Index of the high bit of the 16-bit words.\n"
                           "nWidth, nHeight : int\n    Image size in samples.\n",
                       "numpy.ndarray or None\n"
                       "    uint32 bins (pnBins is their count), or None where C++ returns null.\n")
                .c_str())
        .def_static(
            "DisplayHisto",
            [](const py::array& histo, int nBins) {
                unsigned int* p = Buffer<std::uint32_t>(histo, "pHisto", nBins, Access::Read);
                CDipHisto::DisplayHisto(p, nBins);
            },
            py::arg("pHisto"), py::arg("nBins"),
            doc::Entry("Does nothing; kept in the interface.",
                       "pHisto : numpy.ndarray\n    uint32 bins.\nnBins : int\n    Their count.\n",
                       "None\n")
                .c_str());
}

}  // namespace

void BindPointOperations(py::module_& m) {
    BindBasic(m);
    BindEnhancement(m);
    BindThresholding(m);
    BindHisto(m);
}

}  // namespace zetdip::python
