"""Timings of the Python package and of the batch command.

    PYTHONPATH=build/python /usr/bin/python3 bench/bench_python.py build/apps/zetdip-cad

1. Call overhead: an entry on a 3328 x 4084 12-bit image against the same
   entry on a 1 x 1 image (argument checks, GIL release, dispatch: everything
   but the work), as a share of the big call.
2. Batch throughput: `zetdip-cad batch` on 20 synthetic mammograms with
   -j 1 and -j 2, in files per second.
"""

import os
import subprocess
import sys
import tempfile
import time

import numpy as np

import zetdip


def best(f, repeat):
    times = []
    for _ in range(repeat):
        start = time.perf_counter()
        f()
        times.append(time.perf_counter() - start)
    return min(times)


def overhead():
    w, h = 3328, 4084
    rng = np.random.default_rng(1)
    big = rng.integers(0, 4096, (h, w), dtype=np.uint16)
    out = np.empty_like(big)
    tiny, tiny_out = big[:1, :1].copy(), out[:1, :1].copy()
    print(f"call overhead on a {w} x {h} 12-bit image")
    for name, f in (("CDipFilters.ApplyMean", zetdip.CDipFilters.ApplyMean),
                    ("CDipThresholding.ApplyThresholding", None),
                    ("CDipMorphMath.ApplyErosionLine", zetdip.CDipMorphMath.ApplyErosionLine)):
        if f is None:
            t_big = best(lambda: zetdip.CDipThresholding.ApplyThresholding(
                big, out, 16, 12, w, h, 2000), 5)
            t_one = best(lambda: [zetdip.CDipThresholding.ApplyThresholding(
                tiny, tiny_out, 16, 12, 1, 1, 2000) for _ in range(10000)], 3) / 10000
        else:
            t_big = best(lambda: f(big, out, 16, 12, w, h), 3)
            t_one = best(lambda: [f(tiny, tiny_out, 16, 12, 1, 1) for _ in range(10000)],
                         3) / 10000
        print(f"  {name:36s} {t_big * 1e3:9.2f} ms; per-call overhead {t_one * 1e6:6.2f} us"
              f" = {100 * t_one / t_big:.4f} %")


def batch(program, n=20):
    with tempfile.TemporaryDirectory() as d:
        os.makedirs(os.path.join(d, "in"))
        for i in range(n):
            image, facts = zetdip.phantom(seed=i + 1, breast_on_right=bool(i % 2))
            zetdip.save(os.path.join(d, "in", f"m{i:02d}.dcm"), image, facts)
        print(f"batch of {n} synthetic mammograms ({image.shape[1]} x {image.shape[0]})")
        rates = {}
        for jobs in (1, 2):
            out = os.path.join(d, f"out{jobs}")
            start = time.perf_counter()
            subprocess.run([program, "batch", os.path.join(d, "in"), "--out", out,
                            "-j", str(jobs), "--progress=none"], check=True,
                           stdout=subprocess.DEVNULL)
            seconds = time.perf_counter() - start
            rates[jobs] = n / seconds
            print(f"  -j {jobs}: {seconds:6.1f} s, {rates[jobs]:.2f} files/s")
        print(f"  speed-up -j 2 / -j 1: {rates[2] / rates[1]:.2f}x")


if __name__ == "__main__":
    overhead()
    if len(sys.argv) > 1:
        batch(sys.argv[1])
