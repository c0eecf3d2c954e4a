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

The host layer adds files and the whole detection chain: :func:`read`,
:func:`detect`, :func:`phantom` and :func:`save` here, and
:func:`zetdip.dask.detect_files` for archives.
"""

import json as _json
import os as _os

from . import _zetdip

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
    "Error",
    "read",
    "detect",
    "phantom",
    "save",
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

Error = getattr(_zetdip, "Error", RuntimeError)


def _has_host():
    if not hasattr(_zetdip, "_read"):
        raise RuntimeError("zetdip was built without the host layer (ZETDIP_BUILD_HOST=OFF)")


def read(path, pixel_size=None, bits_stored=None):
    """Read a mammogram: DICOM, PNG, PGM or TIFF.

    Parameters
    ----------
    path : str or os.PathLike
        The file; its format is told by its content.
    pixel_size : float, optional
        Millimetres per pixel; overrides the file and is required for files
        that do not carry it (PNG, PGM, TIFF).
    bits_stored : int, optional
        Significant bits of 16-bit files that do not say (9..16).

    Returns
    -------
    image : numpy.ndarray
        The samples as the file stores them (rows from the top): uint8, or
        uint16 with the significant bits at the bottom.
    facts : dict
        What the file says, named as in the JSON report's ``input``:
        ``width``, ``height``, ``bits_stored``, ``pixel_spacing``
        (``row_mm``, ``column_mm``, ``source``), ``laterality`` and ``view``
        (``value``, ``source``), ``format``, ``path``, ``reader_notes``.

    Raises
    ------
    zetdip.Error
        The file cannot be read or is not a mammogram; the message names the
        file and the cause.
    """
    _has_host()
    return _zetdip._read(_os.fspath(path), pixel_size, bits_stored)


def detect(image_or_path, pixel_size=None, laterality=None, view=None, bits_stored=None,
           out_dir=None, steps=False):
    """Run the detection chain on a mammogram and return its report.

    Parameters
    ----------
    image_or_path : str, os.PathLike, numpy.ndarray or tuple
        A file, an image array (rows from the top, as a file stores it), or
        the ``(image, facts)`` pair that :func:`read` and :func:`phantom`
        return.
    pixel_size : float, optional
        Millimetres per pixel; overrides the file or the facts.
    laterality : {'L', 'R'}, optional
        Edge of the image the breast touches, for an array without facts.
    view : str, optional
        The view ("MLO", "CC"), for an array without facts.
    bits_stored : int, optional
        Significant bits of a uint16 array or of a file that does not say.
    out_dir : str or os.PathLike, optional
        When given, the JSON report and the overlay picture are written there
        as ``zetdip-cad detect`` writes them.
    steps : bool, optional
        With ``out_dir``, also write the step pictures.

    Returns
    -------
    dict
        The JSON report: ``status``, ``input``, ``chain``, ``steps``,
        ``clusters`` (a list of dicts with ``x``, ``y``, ``radius`` in the
        file's pixel frame and ``x_mm``, ``y_mm``, ``radius_mm``),
        ``warnings`` and ``timing_ms``.

    Raises
    ------
    zetdip.Error
        The file or image cannot be processed (no pixel size, a bad depth).
    ValueError
        An array that is not a 2-D uint8 or uint16 image.

    Notes
    -----
    The GIL is released while the chain runs.
    """
    _has_host()
    out = None if out_dir is None else _os.fspath(out_dir)
    if isinstance(image_or_path, (str, bytes, _os.PathLike)):
        text = _zetdip._detect_file(_os.fspath(image_or_path), pixel_size, bits_stored, out,
                                    steps)
        return _json.loads(text)
    if isinstance(image_or_path, tuple):
        image, facts = image_or_path
        facts = dict(facts)
    else:
        image, facts = image_or_path, {}
    if pixel_size is not None:
        facts["pixel_spacing"] = {"row_mm": pixel_size, "column_mm": pixel_size,
                                  "source": "pixel_size"}
    if laterality is not None:
        facts["laterality"] = {"value": laterality, "source": "laterality"}
    if view is not None:
        facts["view"] = {"value": view, "source": "view"}
    if bits_stored is not None:
        facts["bits_stored"] = bits_stored
    return _json.loads(_zetdip._detect_image(image, facts, out, steps))


def phantom(seed=1, breast_on_right=False, pixel_size=0.1, width_mm=120.0, height_mm=160.0,
            bits_stored=12, cluster_sizes=(6, 5, 8)):
    """Make the synthetic mammogram: an MLO-like image with planted clusters.

    Parameters
    ----------
    seed : int, optional
        The same seed gives the same image.
    breast_on_right : bool, optional
        Which vertical edge the breast touches.
    pixel_size : float, optional
        Millimetres per pixel.
    width_mm, height_mm : float, optional
        Size of the image in millimetres.
    bits_stored : int, optional
        Significant bits of the uint16 samples.
    cluster_sizes : sequence of int, optional
        Members of each planted cluster (clusters of 3 or fewer are planted
        but not meant to be reported).

    Returns
    -------
    image : numpy.ndarray
        uint16 samples, rows from the top as a file would store them.
    facts : dict
        As :func:`read` returns them, plus ``planted_clusters``: a list of
        ``(x, y, members)`` in the image's pixel frame.
    """
    _has_host()
    return _zetdip._phantom(seed, breast_on_right, pixel_size, width_mm, height_mm, bits_stored,
                            list(cluster_sizes))


def save(path, image, facts=None):
    """Write an image as a 16-bit (or 8-bit) PNG, or as an MG DICOM file.

    Parameters
    ----------
    path : str or os.PathLike
        A name ending in ``.dcm`` gives DICOM (with the pixel spacing,
        laterality and view of ``facts``); any other gives PNG, which carries
        no pixel size.
    image : numpy.ndarray
        2-D uint8 or uint16 samples, rows from the top.
    facts : dict, optional
        As :func:`read` and :func:`phantom` return them.

    Returns
    -------
    None

    Raises
    ------
    zetdip.Error
        The file cannot be written; nothing is left behind.
    """
    _has_host()
    path = _os.fspath(path)
    _zetdip._save(path, image, dict(facts or {}), path.lower().endswith(".dcm"))
