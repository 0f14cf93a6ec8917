#!/usr/bin/env python3
"""Writes a drawing of 100,000 segments: 1,000 shapes of 100 segments each,
lines and arcs in turn, with a fixed seed so every run writes the same file.

    make_large.py OUT.csv
"""
import random
import sys

SHAPES, SEGMENTS = 1000, 100

def main(out):
    rnd = random.Random(14)
    with open(out, "w", newline="") as f:
        f.write("Shape,X,Y,Bulge,Colour\n")
        for s in range(SHAPES):
            x, y = rnd.uniform(0, 1920), rnd.uniform(0, 1080)
            colour = "#%06X" % rnd.randrange(0x1000000)
            for v in range(SEGMENTS + 1):
                bulge = 0 if v % 2 == 0 else rnd.uniform(-1, 1)
                f.write("s%d,%.3f,%.3f,%.4f,%s\n" % (s, x, y, bulge, colour if v == 0 else ""))
                x = min(max(x + rnd.uniform(-40, 40), 0), 1920)
                y = min(max(y + rnd.uniform(-40, 40), 0), 1080)

if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
