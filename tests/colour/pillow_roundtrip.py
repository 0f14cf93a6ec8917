#!/usr/bin/env python3
"""Checks .bmp files both ways against Pillow, an independent decoder and
encoder: Pillow writes a 24-bit bitmap of random pixels (an odd width, so rows
are padded), colour_tests reads it through DIBitmap and writes the pixels
back bottom-up and top-down, and Pillow reads those.

Usage: pillow_roundtrip.py WINE_RUN PREFIX COLOUR_TESTS_EXE
Exits 0 when every pixel matches; prints a skip note (exit 0) without Pillow.
"""
import os
import random
import subprocess
import sys
import tempfile

try:
    from PIL import Image
except ImportError:
    print('Pillow is not installed (python3-pil): skipped')
    sys.exit(0)

wine_run, prefix, program = sys.argv[1:4]
with tempfile.TemporaryDirectory(prefix='qor_bmp_') as d:
    rng = random.Random(8)
    width, height = 37, 11
    pixels = bytes(rng.randrange(256) for _ in range(3 * width * height))
    Image.frombytes('RGB', (width, height), pixels).save(os.path.join(d, 'pillow.bmp'))
    with open(os.path.join(d, 'pillow.rgb'), 'wb') as f:
        f.write(pixels)
    env = dict(os.environ, QOR_BMP_DIR=d)
    run = subprocess.run([wine_run, '--prefix', prefix, program, '--gtest_filter=BitmapFiles.PillowRoundTrip'],
                         env=env, capture_output=True, text=True, timeout=240)
    sys.stdout.write(run.stdout[-4000:])
    if run.returncode != 0 or '[  PASSED  ] 1 test' not in run.stdout:
        sys.exit('colour_tests failed')
    for name in ('bottomup.bmp', 'topdown.bmp'):
        with Image.open(os.path.join(d, name)) as image:
            if image.size != (width, height) or image.mode != 'RGB':
                sys.exit('%s: Pillow reads %s %s' % (name, image.size, image.mode))
            if image.tobytes() != pixels:
                sys.exit('%s: pixels differ' % name)
        print('%s: Pillow reads the same %dx%d pixels' % (name, width, height))
