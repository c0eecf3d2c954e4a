// The zetdip extension module: the ten classes of the library with their
// public entries under the C++ names and argument orders, so that the C++
// documentation serves; numpy arrays stand for the raw buffers.
#include <pybind11/pybind11.h>

#include "bindings.h"

PYBIND11_MODULE(_zetdip, m) {
    m.doc() =
        "ZetDIP image-processing library for computer-aided detection in mammograms.\n\n"
        "Each class is a namespace of static functions with the C++ names and argument\n"
        "orders. Images are C-contiguous numpy arrays: uint8 for 8 stored bits, uint16 for\n"
        "9..16, shape (nHeight, nWidth); wavelet coefficients are float64.";
    zetdip::python::BindPointOperations(m);
    zetdip::python::BindFilters(m);
    zetdip::python::BindMorphology(m);
    zetdip::python::BindWavelet(m);
    zetdip::python::BindClustering(m);
}
