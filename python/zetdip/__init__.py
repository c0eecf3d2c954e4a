"""ZetDIP: image processing for computer-aided detection in mammograms.

The ten classes of the C++ library are here with the same names, the same
static functions and the same argument order, so that the C++ documentation
serves. Images are C-contiguous numpy arrays of shape (nHeight, nWidth):
``uint8`` for 8 stored bits, ``uint16`` for 9..16; wavelet coefficients are
``float64``. Destinations are written in place, without copies, and may be
the source where the C++ entry allows it. A C++ reference output (``bool&``,
``int&``) comes back in a tuple after the result.

>>> import numpy as np, zetdip
>>> img = np.zeros((64, 48), np.uint16)
>>> out = np.empty_like(img)
>>> zetdip.CDipFilters.ApplyMean(img, out, 16, 12, 48, 64)
True
"""

from ._zetdip import (
    CDipBasic,
    CDipClustering,
    CDipEnhancement,
    CDipFilters,
    CDipHisto,
    CDipMorphMath,
    CDipTest,
    CDipThickness,
    CDipThresholding,
    CDipWavelet,
)

__all__ = [
    "CDipBasic",
    "CDipClustering",
    "CDipEnhancement",
    "CDipFilters",
    "CDipHisto",
    "CDipMorphMath",
    "CDipTest",
    "CDipThickness",
    "CDipThresholding",
    "CDipWavelet",
]
