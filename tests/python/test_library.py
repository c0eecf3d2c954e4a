"""The bindings of the ten library classes: argument checks, in-place use, and
results identical to the C++ calls on the same random images."""

import inspect

import numpy as np
import pytest

import zetdip
from conftest import random_image

CLASSES = [getattr(zetdip, name) for name in zetdip.__all__ if name.startswith("CDip")]


def entries():
    for cls in CLASSES:
        for name in dir(cls):
            if not name.startswith("_"):
                yield cls.__name__, name, getattr(cls, name)


def test_every_entry_has_a_numpydoc_docstring():
    names = []
    for cls_name, name, f in entries():
        names.append(f"{cls_name}.{name}")
        doc = inspect.getdoc(f) or ""
        assert "Parameters\n----------" in doc, name
        assert "Returns\n-------" in doc, name
    # Every public entry of the C++ classes, no more.
    assert len(names) == 38


# ---- refusals ----------------------------------------------------------------


def test_refusals_name_the_argument_and_what_was_expected():
    img = np.zeros((5, 7), np.uint16)
    out = np.zeros_like(img)
    cases = [
        ((img.astype(np.uint8), out, 16, 12, 7, 5), "pSrc: expected uint16"),
        ((img, out.astype(np.int16), 16, 12, 7, 5), "pDst: expected uint16"),
        ((img, out, 8, 8, 7, 5), "pSrc: expected uint8 for nBitsStored 8"),
        ((img, out, 16, 12, 5, 7), r"expected shape \(nHeight, nWidth\) = \(7, 5\), got \(5, 7\)"),
        ((img.ravel(), out, 16, 12, 7, 5), r"got \(35,\)"),
        ((np.zeros((5, 14), np.uint16)[:, ::2], out, 16, 12, 7, 5), "C-contiguous"),
        ((img, np.asfortranarray(np.zeros((5, 7), np.uint16)), 16, 12, 7, 5), "C-contiguous"),
    ]
    for args, message in cases:
        with pytest.raises(ValueError, match=message):
            zetdip.CDipFilters.ApplyMean(*args)

    frozen = out.copy()
    frozen.flags.writeable = False
    with pytest.raises(ValueError, match="pDst: expected a writeable array"):
        zetdip.CDipFilters.ApplyMean(img, frozen, 16, 12, 7, 5)
    # A read-only source is fine: the entry only reads it.
    src = img.copy()
    src.flags.writeable = False
    assert zetdip.CDipFilters.ApplyMean(src, out, 16, 12, 7, 5)


def test_partly_overlapping_buffers_are_refused_and_distinct_ones_required_where_cpp_says():
    big = np.zeros((6, 7), np.uint16)
    with pytest.raises(ValueError, match="partly overlapping"):
        zetdip.CDipFilters.ApplyMean(big[:5], big[1:], 16, 12, 7, 5)
    with pytest.raises(ValueError, match="expected distinct buffers"):
        zetdip.CDipFilters.CreateMaskOfBreast(big, big, 16, 12, 7, 6, False, 0.1)


def test_colour_takes_three_samples_a_pixel_in_either_layout():
    rng = np.random.default_rng(1)
    interleaved = random_image(rng, 8, 9, 4, bpp=24)
    planar = np.ascontiguousarray(np.moveaxis(interleaved, 2, 0))
    for img in (interleaved, planar):
        out = np.zeros_like(img)
        assert zetdip.CDipThresholding.ApplyThresholding(img, out, 24, 8, 9, 4, 100)
        np.testing.assert_array_equal(out, np.where(img < 100, 0, 255))
    with pytest.raises(ValueError, match=r"\(4, 9, 3\) or \(3, 4, 9\)"):
        zetdip.CDipThresholding.ApplyThresholding(interleaved[..., :2].copy(), out, 24, 8, 9, 4, 1)
    # nBitsStored 12 with nBitsPerPixel 24 is one channel of words.
    words = np.zeros((4, 9), np.uint16)
    assert zetdip.CDipThresholding.ApplyThresholding(words, words, 24, 12, 9, 4, 1)


@pytest.mark.parametrize("bits", [7, 17, 0])
def test_bad_depth_returns_the_failure_value_without_writing(bits):
    img = np.full((3, 4), 9, np.uint8)
    out = np.full((3, 4), 77, np.uint8)
    assert zetdip.CDipFilters.ApplyMean(img, out, 8, bits, 4, 3) is False
    assert zetdip.CDipThresholding.CalculateThresholdingTHwMD(img, 8, bits, 4, 3) == 0
    assert zetdip.CDipHisto.CreateHisto(img, 8, bits, 7, 4, 3) is None
    assert zetdip.CDipFilters.IsOnTheRightOrLeftSideOfTheImage(img, 8, bits, 4, 3, 0.5) == -1
    assert (out == 77).all()


def test_structuring_elements_and_parities_are_checked_for_size():
    img = np.zeros((20, 20), np.uint8)
    with pytest.raises(ValueError, match="pSE: expected nSEHeight \\* nSEWidth = 9 members"):
        zetdip.CDipMorphMath.ApplyErosionWithSE(img, img, 8, 8, 20, 20, [1, 1, 1], 3, 3, 3)
    coef = np.zeros((20, 20))
    with pytest.raises(ValueError, match="pWidthOdd: expected at least 4 elements"):
        zetdip.CDipWavelet.ApplyWaveletDecomposition(
            img, coef, 20, 20, 8, 8, np.zeros(3, np.int32), np.zeros(4, np.int32))
    with pytest.raises(ValueError, match="pCoef: expected float64"):
        zetdip.CDipWavelet.ApplyWaveletDecomposition(
            img, coef.astype(np.float32), 20, 20, 8, 8, np.zeros(4, np.int32),
            np.zeros(4, np.int32))
    # None stands for a null parity array, which the C++ entry refuses.
    assert zetdip.CDipWavelet.ApplyWaveletDecomposition(
        img, coef, 20, 20, 8, 8, None, np.zeros(4, np.int32)) == (False, 0, 0)
    with pytest.raises(ValueError, match="pExclusion: expected an image"):
        zetdip.CDipClustering.ApplyFPRemovalCAD(None, img, img, 8, 8, 20, 20, True)


# ---- in place, no copies -----------------------------------------------------


@pytest.mark.parametrize("bits", [8, 12, 16])
def test_in_place_equals_out_of_place(rng, bits):
    img = random_image(rng, bits, 31, 17)
    for f in (zetdip.CDipFilters.ApplyMean, zetdip.CDipFilters.ApplyGradientSWNE,
              zetdip.CDipMorphMath.ApplyErosionCircle, zetdip.CDipEnhancement.ApplyContrastManip):
        out = np.zeros_like(img)
        same = img.copy()
        assert f(img, out, 8, bits, 31, 17) == f(same, same, 8, bits, 31, 17)
        np.testing.assert_array_equal(same, out)


def test_entries_that_adjust_the_callers_words_do_so_in_place():
    words = np.full((4, 5), 0x0ABC << 4, np.uint16)  # 12 bits stored at the top
    histo = zetdip.CDipHisto.CreateHisto(words, 16, 12, 15, 5, 4)
    assert (words == 0x0ABC).all()
    assert histo.dtype == np.uint32 and histo.shape == (4096,)
    assert histo[0x0ABC] == 20 and histo.sum() == 20
    zetdip.CDipBasic.UnAdjustPixels16Bits(words, 12, 15, 20)
    assert (words == 0xABC0).all()
    zetdip.CDipBasic.ConvertToSignedIfNeeded(words.ravel(), 1, 16, 3, 16)
    assert list(words.ravel()[:4]) == [0x2BC0, 0x2BC0, 0x2BC0, 0xABC0]
    with pytest.raises(ValueError, match="at least 21 elements"):
        zetdip.CDipBasic.ConvertToUnsignedIfNeeded(words, 1, 16, 21, 16)


def test_point_lists_are_replaced_in_place():
    # Three 2x2 blobs in a row, 3 mm apart at 0.25 mm per pixel: one test-bench cluster.
    binary = np.zeros((100, 100), np.uint16)
    for x in (30, 42, 54):
        binary[50:52, x:x + 2] = 0xF000  # stored at the top of the word
    centres = [(7, 7)]
    assert zetdip.CDipTest.ApplyClustering(binary, centres, 16, 12, 100, 100, 15, 0.25, 0.25)
    assert binary.max() == 0x0F00  # adjusted in place: 12 bits at the bottom
    # Blob centres (min + size / 2) at x = 31, 43, 55, row 51, each with its whole 25-pixel
    # reach inside the image; their mean, y = nHeight - row.
    assert centres == [(7, 7), (43, 100 - 51)]
    with pytest.raises(ValueError, match="arrCentres: expected a list of \\(x, y\\) pairs"):
        zetdip.CDipTest.ApplyClustering(binary, [(1, 2, 3)], 16, 12, 100, 100, 11, 0.25, 0.25)


# ---- identical to the C++ calls ----------------------------------------------

SIZES = [(67, 33), (3, 1)]


def call(op, images, bpp, bits, w, h, *numbers):
    """The binding's counterpart of one reference run: (numbers, output bytes)."""
    F, E, M, H, C, W = (zetdip.CDipFilters, zetdip.CDipEnhancement, zetdip.CDipMorphMath,
                        zetdip.CDipHisto, zetdip.CDipClustering, zetdip.CDipWavelet)
    src = images[0]
    out = np.zeros_like(src)
    if op == "ApplyGauss":
        return [int(F.ApplyGauss(src, out, bpp, bits, w, h, numbers[0]))], out.tobytes()
    if op == "ApplyStretching":
        return [int(E.ApplyStretching(src, out, bpp, bits, w, h, *map(int, numbers)))], \
            out.tobytes()
    if op == "CreateHisto":
        histo = H.CreateHisto(src.copy(), bpp, bits, int(numbers[0]), w, h)
        return [len(histo)], histo.tobytes()
    if op == "ApplyErosionWithSE":
        se = np.array([[0, 1, 0], [1, 1, 1], [0, 1, 0]], np.int32)
        return [int(M.ApplyErosionWithSE(src, out, bpp, bits, w, h, se, 3, 3, 5))], out.tobytes()
    if op == "IsOnTheRightOrLeftSideOfTheImage":
        return [F.IsOnTheRightOrLeftSideOfTheImage(src, bpp, bits, w, h, numbers[0])], b""
    if op == "CreateMaskOfBreast":
        ok, right = F.CreateMaskOfBreast(src, out, bpp, bits, w, h, bool(numbers[0]), numbers[1])
        return [int(ok), int(right)], out.tobytes()
    if op == "ApplyFPRemovalCAD":
        return [int(C.ApplyFPRemovalCAD(images[1], src, out, bpp, bits, h, w,
                                        bool(numbers[0])))], out.tobytes()
    if op == "ApplyWaveletDecomposition":
        coef = np.zeros((h, w))
        wodd, hodd = np.zeros(4, np.int32), np.zeros(4, np.int32)
        ok, low_w, low_h = W.ApplyWaveletDecomposition(src, coef, w, h, bpp, bits, wodd, hodd)
        parities = [int(v) for pair in zip(wodd, hodd) for v in pair]
        return [int(ok), low_w, low_h] + parities, coef.tobytes()
    if op == "ApplyClustering":
        circles = []
        ok = C.ApplyClustering(src, images[1], images[2], circles, bpp, bits, w, h, *numbers)
        return [int(ok)] + [v for p in circles for v in p], out.tobytes()
    raise AssertionError(op)


# One entry of each shape of binding: image to image with float or int
# arguments, with a structuring element, a value, an array or a tuple back,
# two images in (height before width), coefficients and parities out.
CASES = [
    ("ApplyGauss", (0.8,)), ("ApplyStretching", (40, 3000)), ("CreateHisto", (11,)),
    ("ApplyErosionWithSE", ()), ("IsOnTheRightOrLeftSideOfTheImage", (0.3,)),
    ("CreateMaskOfBreast", (0, 0.2)), ("ApplyFPRemovalCAD", (1,)),
    ("ApplyWaveletDecomposition", ()),
]


@pytest.mark.parametrize("bits", [8, 12])
@pytest.mark.parametrize("op,numbers", CASES, ids=[c[0] for c in CASES])
def test_results_equal_the_cpp_calls_on_random_images(rng, reference, op, numbers, bits):
    for w, h in SIZES:
        images = [random_image(rng, bits, w, h)]
        if op == "ApplyFPRemovalCAD":
            sparse = images[0] * (rng.random((h, w)) < 0.05)
            images = [sparse.astype(images[0].dtype), random_image(rng, bits, w, h)]
            images[1][rng.random((h, w)) < 0.8] = 0
        expected = reference(op, images, 8, bits, w, h, *numbers)
        got = call(op, [im.copy() for im in images], 8, bits, w, h, *numbers)
        assert got[0] == expected[0], (op, w, h)
        assert got[1] == expected[1], (op, w, h)


@pytest.mark.parametrize("bits", [8, 12])
def test_clustering_equals_the_cpp_call(rng, reference, bits):
    w, h = 260, 300
    img = random_image(rng, bits, w, h)
    top = 255 if bits == 8 else (1 << bits) - 1
    binary = np.zeros_like(img)
    mask = np.full_like(img, top)
    # Bright 3x3 blobs 2 mm apart at 0.1 mm per pixel, well inside the margins.
    for i in range(5):
        y, x = 120 + 20 * (i % 2), 100 + 20 * i
        binary[y:y + 3, x:x + 3] = top
        img[y:y + 3, x:x + 3] = top
    expected = reference("ApplyClustering", [img, binary, mask], 8, bits, w, h, 0.1, 0.1)
    got = call("ApplyClustering", [img, binary, mask], 8, bits, w, h, 0.1, 0.1)
    assert got[0] == expected[0]
    assert len(got[0]) == 5  # one circle pair: the blobs make one cluster
