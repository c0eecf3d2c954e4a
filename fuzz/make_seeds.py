#!/usr/bin/python3
"""Writes the seed corpora of the fuzz targets into fuzz/corpus/<family>/ and
their dictionary of interesting values into fuzz/zetdip.dict.

Each seed follows the input layout of fuzz_support.h: the entry byte, the
arguments as tag bytes, the fill mode and the pixel bytes. The seeds cover
every entry with a sane 8-bit, 12-bit and colour image, the two bad depths
and empty images with one huge side.
"""
import os
import random
import struct

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")

INTERESTING = [0, -1, 1, 2, 3, -2, 5, 7, 8, 9, 16, 17, 31, 32, 255, 256, 65535, 65536, -65536,
               46340, 46341, -46341, 2**31 - 1, -2**31, 2**31 - 2, -2**31 + 1, (2**31 - 1) // 2,
               -2**30, 0x40000000, -0x40000000, 4096]


def special(v):
    """Tag of an interesting int, or the raw form."""
    if v in INTERESTING:
        return bytes([0xE0 + INTERESTING.index(v)])
    return b"\xff" + struct.pack("<i", v)


def side(v):
    return bytes([v]) if 0 <= v < 0xE0 else special(v)


def num(v):  # a general int argument
    return bytes([v + 32]) if -32 <= v < 0xE0 - 32 else special(v)


def bits(v):
    return bytes([v]) if 0 <= v < 18 else special(v)


def bpp(v):
    return bytes([{8: 0, 16: 1, 24: 2, 12: 3}[v]])


def dbl(v):  # pixel sizes and other doubles: hundredths
    return bytes([round(v * 100)])


def flt(v):  # sigmas and gains: tenths
    return bytes([round(v * 10)])


def fmt(nbpp, nbits, w, h):
    return bpp(nbpp) + bits(nbits) + side(w) + side(h)


INT_MAX, INT_MIN = 2**31 - 1, -2**31
# Sane images, refused depths and colour, and empty ones with one huge side.
FORMATS = [(8, 8, 32, 32), (16, 12, 40, 30), (16, 16, 17, 9), (24, 8, 16, 16), (8, 7, 8, 8),
           (16, 17, 8, 8), (8, 8, 0, INT_MAX), (16, 12, INT_MAX, 0), (8, 8, INT_MIN, 5),
           (16, 12, -5, -5), (8, 8, 1, 1), (16, 12, 3, 1)]


def pixels(rng, n=512):
    return bytes(rng.randrange(256) for _ in range(n))


def seeds():
    rng = random.Random(7)
    out = {}

    def add(family, data):
        out.setdefault(family, []).append(data)

    for f in FORMATS:
        mode = bytes([rng.randrange(4)])
        body = fmt(*f)
        for e in range(3):
            add("enhancement", bytes([e]) + body + num(40) + num(120) + mode + pixels(rng))
            add("thresholding", bytes([e]) + body + num(100) + mode + pixels(rng))
        add("histo", b"\x00" + body + num(f[1] - 1) + mode + pixels(rng))
        for e in range(9):
            add("filters", bytes([e]) + body + flt(1.0) + flt(2.0) + flt(1.5) + flt(3.0) +
                dbl(0.5) + bytes([e & 1]) + mode + pixels(rng))
        for e in range(8):
            add("morph", bytes([e]) + body + num(3) + num(3) + num(5) + b"\x01" + pixels(rng))
        for e in range(2):
            add("thickness", bytes([e]) + body + b"\x01" + b"\x00" + num(3) + num(3) + num(5) +
                num(3) + num(3) + num(3) + b"\x01" + pixels(rng))
        add("wavelet", b"\x02" + body + mode + pixels(rng))
        for e in range(2):
            add("wavelet", bytes([e]) + body + b"\x01" + b"\x01" + num(0) + num(1) + side(8) +
                side(8) + num(2) + num(0) * 8 + mode + pixels(rng))
        for e in (0, 2, 3):
            add("clustering", bytes([e]) + body + bytes([e & 1]) + dbl(0.5) + dbl(0.5) +
                bytes([2]) + pixels(rng))
        add("clustering", b"\x01" + body + b"\x00" + dbl(0.5) + dbl(0.5) + b"\x00" + b"\x02" +
            pixels(rng))
        add("test", body + num(f[1] - 1) + dbl(0.5) + dbl(0.5) + b"\x00" + b"\x02" + pixels(rng))
    # Larger candidate images for the clustering: 128 x 128 at 0.5 mm, and a
    # cluster already in the caller's array (a complete pair, then an odd one).
    for nInitial in (0, 2, 1):
        points = b"".join(num(60) + num(60) for _ in range(nInitial))
        add("clustering", b"\x01" + fmt(8, 8, 128, 128) + b"\x00" + dbl(0.5) + dbl(0.5) +
            bytes([nInitial]) + points + b"\x02" + pixels(rng, 2048))
    add("test", fmt(16, 12, 128, 128) + num(11) + dbl(0.5) + dbl(0.5) + b"\x00" + b"\x02" +
        pixels(rng, 2048))
    # Pixel words: adjustment, un-adjustment and the sign toggle.
    for nbits, high in ((12, 11), (12, 15), (16, 15), (12, 10), (INT_MIN, INT_MAX)):
        add("basic", b"\x00" + num(nbits) + num(high) + side(16) + side(4) + b"\x00" + pixels(rng))
        add("basic", b"\x01" + num(nbits) + num(high) + num(40) + b"\x00" + pixels(rng))
    add("basic", b"\x02" + num(1) + bpp(16) + num(40) + num(12) + b"\x00" + pixels(rng))
    return out


def write_dictionary():
    def esc(data):
        return "".join("\\x%02x" % c for c in data)

    lines = ["# Interesting values of the fuzz targets' input layout (fuzz_support.h):",
             "# a raw value is the tag 0xFF and its little-endian bytes; 0xE0 + k picks",
             "# the k-th interesting int (or double) directly."]
    for v in INTERESTING:
        lines.append('int_%s="%s"' % (str(v).replace("-", "m"), esc(b"\xff" + struct.pack("<i", v))))
    for name, d in [("nan", float("nan")), ("inf", float("inf")), ("minf", float("-inf")),
                    ("denorm", 5e-324), ("huge", 1e308), ("two31", 2147483648.0),
                    ("m_two31", -2147483649.0), ("tiny", 1e-300)]:
        lines.append('double_%s="%s"' % (name, esc(b"\xff" + struct.pack("<d", d))))
    for name, f in [("nan", float("nan")), ("inf", float("inf")), ("big", 3e38), ("tiny", 1e-38)]:
        lines.append('float_%s="%s"' % (name, esc(b"\xff" + struct.pack("<f", f))))
    for k in range(len(INTERESTING)):
        lines.append('tag_%d="%s"' % (k, esc(bytes([0xE0 + k]))))
    path = os.path.join(os.path.dirname(ROOT), "zetdip.dict")
    with open(path, "w") as f:
        f.write("\n".join(lines) + "\n")


def main():
    write_dictionary()
    for family, items in seeds().items():
        directory = os.path.join(ROOT, family)
        os.makedirs(directory, exist_ok=True)
        for name in os.listdir(directory):
            os.remove(os.path.join(directory, name))
        for i, data in enumerate(items):
            with open(os.path.join(directory, "seed-%03d" % i), "wb") as f:
                f.write(data)


if __name__ == "__main__":
    main()
