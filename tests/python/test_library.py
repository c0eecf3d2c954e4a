"""The bindings of the library classes: argument checks, in-place use, and
results identical to the C++ calls on the same random images."""

import numpy as np
import pytest

import zetdip


def test_refusals_name_the_argument_and_what_was_expected():
    img = np.zeros((5, 7), np.uint16)
    out = np.zeros_like(img)
    frozen = out.copy()
    frozen.flags.writeable = False
    big = np.zeros((6, 7), np.uint16)
    cases = [
        ((img.astype(np.uint8), out, 16, 12, 7, 5), "pSrc: expected uint16"),
        ((img, out.astype(np.int16), 16, 12, 7, 5), "pDst: expected uint16"),
        ((img, out, 8, 8, 7, 5), "pSrc: expected uint8 for nBitsStored 8"),
        ((img, out, 16, 12, 5, 7), r"expected shape \(nHeight, nWidth\) = \(7, 5\), got \(5, 7\)"),
        ((np.zeros((5, 14), np.uint16)[:, ::2], out, 16, 12, 7, 5), "C-contiguous"),
        ((img, frozen, 16, 12, 7, 5), "pDst: expected a writeable array"),
        ((big[:5], big[1:], 16, 12, 7, 5), "partly overlapping"),
    ]
    for args, message in cases:
        with pytest.raises(ValueError, match=message):
            zetdip.CDipFilters.ApplyMean(*args)
    with pytest.raises(ValueError, match="expected distinct buffers"):
        zetdip.CDipFilters.CreateMaskOfBreast(big, big, 16, 12, 7, 6, False, 0.1)
    # A read-only source is fine: the entry only reads it.
    img.flags.writeable = False
    assert zetdip.CDipFilters.ApplyMean(img, out, 16, 12, 7, 5)


@pytest.mark.parametrize("bits", [8, 12])
def test_in_place_equals_out_of_place(bits):
    rng = np.random.default_rng(bits)
    img = rng.integers(0, 1 << bits, (17, 31)).astype(np.uint8 if bits == 8 else np.uint16)
    for f in (zetdip.CDipFilters.ApplyMean, zetdip.CDipMorphMath.ApplyErosionCircle,
              zetdip.CDipEnhancement.ApplyContrastManip):
        out = np.zeros_like(img)
        same = img.copy()
        assert f(img, out, 8, bits, 31, 17) == f(same, same, 8, bits, 31, 17)
        np.testing.assert_array_equal(same, out)


def test_entries_that_adjust_the_callers_buffers_do_so_in_place():
    words = np.full((4, 5), 0x0ABC << 4, np.uint16)  # 12 bits stored at the top
    histo = zetdip.CDipHisto.CreateHisto(words, 16, 12, 15, 5, 4)
    assert (words == 0x0ABC).all()
    assert histo.dtype == np.uint32 and histo[0x0ABC] == 20 and histo.sum() == 20
    zetdip.CDipBasic.UnAdjustPixels16Bits(words, 12, 15, 20)
    assert (words == 0xABC0).all()
    # Three 2x2 blobs 3 mm apart at 0.25 mm per pixel: one cluster appended to the list.
    binary = np.zeros((100, 100), np.uint16)
    for x in (30, 42, 54):
        binary[50:52, x:x + 2] = 0xF000
    centres = [(7, 7)]
    assert zetdip.CDipTest.ApplyClustering(binary, centres, 16, 12, 100, 100, 15, 0.25, 0.25)
    assert binary.max() == 0x0F00
    assert centres == [(7, 7), (43, 100 - 51)]  # the blob centres' mean, y from the bottom


def call(op, images, bits, w, h):
    """The binding's counterpart of one reference run: (numbers, output bytes)."""
    src, out = images[0], np.zeros_like(images[0])
    if op == "ApplyGauss":
        return [int(zetdip.CDipFilters.ApplyGauss(src, out, 8, bits, w, h, 0.8))], out.tobytes()
    if op == "CreateHisto":
        histo = zetdip.CDipHisto.CreateHisto(src, 8, bits, 11, w, h)
        return [len(histo)], histo.tobytes()
    if op == "CreateMaskOfBreast":
        ok, right = zetdip.CDipFilters.CreateMaskOfBreast(src, out, 8, bits, w, h, False, 0.2)
        return [int(ok), int(right)], out.tobytes()
    if op == "ApplyFPRemovalCAD":
        ok = zetdip.CDipClustering.ApplyFPRemovalCAD(images[1], src, out, 8, bits, h, w, True)
        return [int(ok)], out.tobytes()
    coef, wodd, hodd = np.zeros((h, w)), np.zeros(4, np.int32), np.zeros(4, np.int32)
    ok, low_w, low_h = zetdip.CDipWavelet.ApplyWaveletDecomposition(
        src, coef, w, h, 8, bits, wodd, hodd)
    return [int(ok), low_w, low_h] + [int(v) for p in zip(wodd, hodd) for v in p], coef.tobytes()


# One entry of each shape of binding: image to image with a float argument,
# an array back, a tuple back, two images (height before width), and
# coefficients and parities out.
@pytest.mark.parametrize("bits", [8, 12])
@pytest.mark.parametrize("op", ["ApplyGauss", "CreateHisto", "CreateMaskOfBreast",
                                "ApplyFPRemovalCAD", "ApplyWaveletDecomposition"])
def test_results_equal_the_cpp_calls_on_random_images(reference, op, bits):
    rng = np.random.default_rng(20261125)
    w, h = 67, 33
    dtype = np.uint8 if bits == 8 else np.uint16
    images = [rng.integers(0, 1 << bits, (h, w)).astype(dtype)]
    if op == "ApplyFPRemovalCAD":
        images[0][rng.random((h, w)) > 0.05] = 0
        images.append(rng.integers(0, 1 << bits, (h, w)).astype(dtype))
        images[1][rng.random((h, w)) < 0.8] = 0
    expected = reference(op, images, bits, w, h)
    assert call(op, [im.copy() for im in images], bits, w, h) == expected
