#!/usr/bin/env python3
"""Draws the pictures of photos in docs/images/: bleeding.png and phases.png.

usage: pictures.py CORRECTIONCTL WALL FOLDER

The sensor of `correctionctl measure` photographs the test images of the wall; details of its photos are enlarged.
"""

import pathlib
import struct
import subprocess
import sys
import tempfile
import zlib

import numpy

PHOTOSITES = 5  # of a pixel, along an axis
WHITE = 800.0  # cd/m2: full green is no more in sRGB


def srgb(xyz):
    """8-bit sRGB (IEC 61966-2-1) of light."""
    matrix = numpy.array([[3.2406, -1.5372, -0.4986], [-0.9689, 1.8758, 0.0415], [0.0557, -0.2040, 1.0570]])
    linear = numpy.clip(xyz / WHITE @ matrix.T, 0, 1)
    levels = numpy.where(linear <= 0.0031308, 12.92 * linear, 1.055 * linear ** (1 / 2.4) - 0.055)
    return numpy.rint(255 * levels).astype(numpy.uint8)


def detail(photo, x, y, width, height, zoom):
    """Some pixels of the screen, zoom x zoom points for each photosite."""
    part = photo[y * PHOTOSITES : (y + height) * PHOTOSITES, x * PHOTOSITES : (x + width) * PHOTOSITES]
    return srgb(part).repeat(zoom, axis=0).repeat(zoom, axis=1)


def side_by_side(pictures):
    gap = numpy.full((pictures[0].shape[0], 16, 3), 255, numpy.uint8)
    parts = [pictures[0]]
    for picture in pictures[1:]:
        parts += [gap, picture]
    return numpy.concatenate(parts, axis=1)


def write_png(path, picture):
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))

    height, width, _ = picture.shape
    rows = numpy.concatenate([numpy.zeros((height, 1), numpy.uint8), picture.reshape(height, 3 * width)], axis=1)
    path.write_bytes(
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
        + chunk(b"IDAT", zlib.compress(rows.tobytes(), 9))
        + chunk(b"IEND", b"")
    )


def main():
    program, wall = (str(pathlib.Path(path).resolve()) for path in sys.argv[1:3])
    folder = pathlib.Path(sys.argv[3])
    with tempfile.TemporaryDirectory() as work:

        def photos(name, *options):
            command = [program, "--quiet", "--wall", wall, "measure", "main", "seen.npy", "--camera", "sensor"]
            subprocess.run(command + ["--photos", name, *options], cwd=work, check=True)
            return lambda shot: numpy.load(pathlib.Path(work) / name / f"green-{shot}.npy")

        full = photos("full", "--full-field")
        phase = photos("phases")
        corner = (58, 60)  # of four cabinets at 64, 64
        write_png(
            folder / "bleeding.png",
            side_by_side([detail(photo("0-0"), *corner, 10, 8, 8) for photo in (full, phase)]),
        )
        shots = [f"{x}-{y}" for y in range(3) for x in range(3)]
        write_png(folder / "phases.png", side_by_side([detail(phase(shot), *corner, 6, 6, 3) for shot in shots]))


main()
