#!/usr/bin/env python3
"""viewer.exe --render under Wine, checked from outside: the sample drawing's
picture read back by Pillow, and a bad drawing's one-line error.

    headless_test.py WINE_RUN PREFIX VIEWER_EXE SAMPLES_DIR WORK_DIR
"""
import math
import os
import subprocess
import sys

from PIL import Image


def run(wine_run, prefix, viewer, *args):
    return subprocess.run([wine_run, "--prefix", prefix, viewer, "--render", *args],
                          capture_output=True, text=True, timeout=120)


def main(wine_run, prefix, viewer, samples, work):
    failures = []

    def check(ok, what):
        if not ok:
            failures.append(what)

    out = os.path.join(work, "shapes.bmp")
    if os.path.exists(out):
        os.remove(out)
    r = run(wine_run, prefix, viewer, os.path.join(samples, "shapes.csv"), out, "--size", "320", "240")
    check(r.returncode == 0, "render exit code %d: %s" % (r.returncode, r.stderr))
    with Image.open(out) as im:
        im.load()
        check(im.size == (320, 240) and im.mode == "RGB", "size %s mode %s" % (im.size, im.mode))
        # The sample's frame (0,0)-(200,100) decides the fit: 5% margin of 240.
        margin = 0.05 * 240
        scale = min((320 - 2 * margin) / 200, (240 - 2 * margin) / 100)

        def pixel(x, y):
            return int(160 + (x - 100) * scale), int(120 - (y - 50) * scale)

        def around(x, y, colour):
            i, j = pixel(x, y)
            return any(im.getpixel((i + di, j + dj)) == colour for di in (-1, 0, 1) for dj in (-1, 0, 1))

        # The half circle from (20,50) to (80,50), bulge 1, in #C00: its lowest
        # point and one at 45 degrees.
        for angle in (270, 225, 315):
            a = math.radians(angle)
            check(around(50 + 30 * math.cos(a), 50 + 30 * math.sin(a), (204, 0, 0)), "half circle at %d" % angle)
        check(around(200, 50, (0, 0, 0)), "frame's right side")
        for corner in ((0, 0), (319, 0), (0, 239), (319, 239)):
            check(im.getpixel(corner) == (255, 255, 255), "corner %s not white" % (corner,))

    bad = os.path.join(work, "bad.csv")
    with open(bad, "w", newline="") as f:
        f.write('Shape,X,Y,Note\r\na,1,2,"two\r\nlines"\r\na,1,two,\r\n')
    r = run(wine_run, prefix, viewer, bad, os.path.join(work, "bad.bmp"), "--size", "32", "32")
    check(r.returncode == 1, "bad file exit code %d" % r.returncode)
    check("bad.csv, line 4: Y is not a number" in r.stderr, "bad file message: %r" % r.stderr)
    check(r.stderr.count("\n") == 1, "bad file message is not one line: %r" % r.stderr)

    r = run(wine_run, prefix, viewer, bad, os.path.join(work, "bad.bmp"), "--size", "0", "32")
    check(r.returncode == 1 and "--size" in r.stderr, "size 0: %d %r" % (r.returncode, r.stderr))

    for f in failures:
        print("FAILED:", f)
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) != 6:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
