"""Shared fixtures of the Python tests: random images and the C++ reference runner."""

import os
import subprocess

import numpy as np
import pytest


def random_image(rng, bits, width, height, bpp=8):
    """A random image of the library's layout for the given format."""
    if bits == 8:
        shape = (height, width, 3) if bpp == 24 else (height, width)
        return rng.integers(0, 256, shape, dtype=np.uint8)
    return rng.integers(0, 1 << bits, (height, width), dtype=np.uint16)


@pytest.fixture
def rng():
    return np.random.default_rng(20261125)


@pytest.fixture
def reference(tmp_path):
    """Runs one entry in C++ on the given images: returns (printed numbers, out.raw bytes)."""
    program = os.environ.get("ZETDIP_PYREF")
    if not program:
        pytest.skip("ZETDIP_PYREF (the C++ reference program) is not set")

    def run(op, images, bpp, bits, width, height, *numbers):
        for i, image in enumerate(images):
            np.ascontiguousarray(image).tofile(tmp_path / f"in{i}.raw")
        out = tmp_path / "out.raw"
        if out.exists():
            out.unlink()
        args = [program, str(tmp_path), op, str(bpp), str(bits), str(width), str(height)]
        args += [repr(float(n)) for n in numbers]
        printed = subprocess.run(args, check=True, capture_output=True, text=True).stdout
        values = [int(v) for v in printed.split()]
        return values, (out.read_bytes() if out.exists() else b"")

    return run
