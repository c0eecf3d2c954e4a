"""The bindings of the library classes: argument checks, in-place use, and
results identical to the C++ calls on the same random images."""

import os
import subprocess

import numpy as np
import pytest

import zetdip


def test_refusals_name_the_argument_and_what_was_expected():
    img, out, big = np.zeros((5, 7), np.uint16), np.zeros((5, 7), np.uint16), np.zeros((6, 7))
    big = big.astype(np.uint16)
    cases = [
        ((img.astype(np.uint8), out, 16, 12, 7, 5), "pSrc: expected uint16"),
        ((img, out, 8, 8, 7, 5), "pSrc: expected uint8 for nBitsStored 8"),
        ((img, out, 16, 12, 5, 7), r"expected shape \(nHeight, nWidth\) = \(7, 5\), got \(5, 7\)"),
        ((np.zeros((5, 14), np.uint16)[:, ::2], out, 16, 12, 7, 5), "C-contiguous"),
        ((big[:5], big[1:], 16, 12, 7, 5), "partly overlapping"),
    ]
    for args, message in cases:
        with pytest.raises(ValueError, match=message):
            zetdip.CDipFilters.ApplyMean(*args)
    with pytest.raises(ValueError, match="expected distinct buffers"):
        zetdip.CDipFilters.CreateMaskOfBreast(big, big, 16, 12, 7, 6, False, 0.1)


def test_in_place_calls_and_the_buffers_the_entries_adjust():
    img = np.random.default_rng(12).integers(0, 4096, (17, 31)).astype(np.uint16)
    out, same = np.zeros_like(img), img.copy()
    assert zetdip.CDipFilters.ApplyMean(img, out, 8, 12, 31, 17) == \
        zetdip.CDipFilters.ApplyMean(same, same, 8, 12, 31, 17)
    np.testing.assert_array_equal(same, out)
    words = np.full((4, 5), 0x0ABC << 4, np.uint16)  # 12 bits stored at the top
    histo = zetdip.CDipHisto.CreateHisto(words, 16, 12, 15, 5, 4)
    assert (words == 0x0ABC).all() and histo[0x0ABC] == 20 and histo.sum() == 20
    # Three 2x2 blobs 3 mm apart at 0.25 mm per pixel: one cluster appended to the list.
    binary = np.zeros((100, 100), np.uint16)
    for x in (30, 42, 54):
        binary[50:52, x:x + 2] = 0xF000
    centres = [(7, 7)]
    assert zetdip.CDipTest.ApplyClustering(binary, centres, 16, 12, 100, 100, 15, 0.25, 0.25)
    assert centres == [(7, 7), (43, 100 - 51)]  # the blob centres' mean, y from the bottom


# Two images to one, height before width, at both depths.
@pytest.mark.parametrize("bits", [8, 12])
def test_results_equal_the_cpp_call_on_random_images(tmp_path, bits):
    program = os.environ.get("ZETDIP_PYREF") or pytest.skip("ZETDIP_PYREF is not set")
    rng, w, h = np.random.default_rng(20261125), 67, 33
    dtype = np.uint8 if bits == 8 else np.uint16
    blobs, exclusion = (rng.integers(0, 1 << bits, (h, w)).astype(dtype) for _ in range(2))
    blobs[rng.random((h, w)) > 0.05] = 0
    exclusion[rng.random((h, w)) < 0.8] = 0
    blobs.tofile(tmp_path / "in0.raw")
    exclusion.tofile(tmp_path / "in1.raw")
    printed = subprocess.run([program, str(tmp_path), str(bits), str(w), str(h)],
                             check=True, capture_output=True, text=True).stdout
    out = np.zeros_like(blobs)
    ok = zetdip.CDipClustering.ApplyFPRemovalCAD(exclusion, blobs, out, 8, bits, h, w, True)
    assert (int(ok), out.tobytes()) == (int(printed), (tmp_path / "out.raw").read_bytes())
