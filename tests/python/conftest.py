"""The C++ reference runner shared by the Python tests."""

import os
import subprocess

import numpy as np
import pytest


@pytest.fixture
def reference(tmp_path):
    """Runs one entry in C++ on the given images: (printed numbers, out.raw bytes)."""
    program = os.environ.get("ZETDIP_PYREF")
    if not program:
        pytest.skip("ZETDIP_PYREF (the C++ reference program) is not set")

    def run(op, images, bits, width, height):
        for i, image in enumerate(images):
            np.ascontiguousarray(image).tofile(tmp_path / f"in{i}.raw")
        args = [program, str(tmp_path), op, str(bits), str(width), str(height)]
        printed = subprocess.run(args, check=True, capture_output=True, text=True).stdout
        return [int(v) for v in printed.split()], (tmp_path / "out.raw").read_bytes()

    return run
