// Pieces of the numpydoc docstrings that many entries share: the image
// arguments mean the same thing in every class.
#ifndef ZETDIP_PYTHON_DOCS_H
#define ZETDIP_PYTHON_DOCS_H

#include <string>

namespace zetdip::python::doc {

inline const char* kSrc =
    "pSrc : numpy.ndarray\n"
    "    Source image, C-contiguous: uint8 of shape (nHeight, nWidth) for nBitsStored 8\n"
    "    ((nHeight, nWidth, 3) or (3, nHeight, nWidth) for nBitsPerPixel 24), uint16 of\n"
    "    shape (nHeight, nWidth) for 9..16.\n";
inline const char* kDstInPlace =
    "pDst : numpy.ndarray\n"
    "    Writeable destination of the same dtype and shape; may be pSrc itself.\n";
inline const char* kFormat =
    "nBitsPerPixel : int\n"
    "    24 for three 8-bit channels, any other value for one channel.\n"
    "nBitsStored : int\n"
    "    Significant bits per sample: 8, or 9..16. Any other depth makes the call return\n"
    "    its failure value without touching a buffer.\n"
    "nWidth, nHeight : int\n"
    "    Image size in samples; the arrays' shape must agree.\n";
inline const char* kRaises =
    "\nRaises\n------\n"
    "ValueError\n"
    "    An array of another dtype or shape than the format arguments ask for, a strided\n"
    "    view, a read-only destination, or buffers that partly overlap.\n";
inline const char* kGil = "\nThe GIL is released during the call.\n";

inline std::string Entry(const std::string& summary, const std::string& params,
                         const std::string& returns, const std::string& notes = "") {
    std::string s = summary + "\n\nParameters\n----------\n" + params;
    s += "\nReturns\n-------\n" + returns;
    s += kRaises;
    if (!notes.empty()) s += "\nNotes\n-----\n" + notes;
    return s + kGil;
}

inline const char* kBoolResult = "bool\n    True on success, as the C++ entry returns it.\n";

}  // namespace zetdip::python::doc

#endif  // ZETDIP_PYTHON_DOCS_H
