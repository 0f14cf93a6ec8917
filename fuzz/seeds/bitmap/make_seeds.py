#!/usr/bin/python3
"""Writes the Pillow-made seeds of the bitmap fuzz target into this folder:
one small .bmp for each mode Pillow's encoder takes (1, 4 and 8 bits with
their palettes, 24 and 32 bits), each of an odd width so rows are padded.

Usage: /usr/bin/python3 make_seeds.py   (Debian's python3-pil; the output is kept)
"""
import os
import random

from PIL import Image

here = os.path.dirname(os.path.abspath(__file__))
rng = random.Random(14)
for mode, size in (('1', (13, 5)), ('L', (7, 3)), ('P', (5, 4)), ('RGB', (5, 3)), ('RGBA', (3, 2))):
    bands = len(mode) if mode != 'P' else 1
    pixels = bytes(rng.randrange(256) for _ in range(size[0] * size[1] * (1 if mode == '1' else bands)))
    image = Image.frombytes(mode if mode != '1' else 'L', size, pixels)
    if mode == '1':
        image = image.convert('1')
    if mode == 'P':
        image.putpalette([rng.randrange(256) for _ in range(3 * 16)])
    image.save(os.path.join(here, 'pillow-%s.bmp' % mode.lower()))
