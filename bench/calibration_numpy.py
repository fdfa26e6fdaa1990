#!/usr/bin/python3
"""Compares the library's coefficients of a 4K measurement with NumPy's linalg.solve, in turn, and prints the ratio.

usage: calibration_numpy.py CORRECTION_BENCH [ROUNDS]
Exits with 1 unless NumPy takes at least 20 times what the library takes.
"""
import json
import statistics
import subprocess
import sys
import tempfile
import time

import numpy

ASKED = 20
SHAPE = (2160, 3840)
NOMINAL = numpy.array([547, 240, 0, 179, 680, 85, 240, 80, 1458], numpy.float32)
UNIT = 32768
# Rec. 709 with a white of 700 cd/m2; red, green, blue are the columns.
TARGET = 700 * numpy.array([[0.4124, 0.3576, 0.1805], [0.2126, 0.7152, 0.0722], [0.0193, 0.1192, 0.9505]], numpy.float32)


def library_seconds(program):
    with tempfile.TemporaryDirectory() as folder:
        results = f"{folder}/results.json"
        subprocess.run([program, "--rounds", "1", "--json", results, "coefficients of a 4K"], check=True,
                       stdout=subprocess.DEVNULL)
        with open(results, encoding="utf-8") as file:
            cases = json.load(file)["cases"]
    assert len(cases) == 1, cases
    return cases[0]["library"][0]


def numpy_seconds(measurement):
    before = time.process_time()
    matrices = measurement.reshape(-1, 3, 3).transpose(0, 2, 1)
    solved = numpy.linalg.solve(matrices, TARGET[numpy.newaxis])
    numpy.clip(numpy.rint(solved * UNIT), 0, 65535).astype(numpy.uint16)
    return time.process_time() - before


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    rounds = int(sys.argv[2]) if len(sys.argv) == 3 else 3
    factors = 1 - 0.1 * numpy.random.default_rng(1).random((*SHAPE, 3, 1), numpy.float32)
    measurement = (factors * NOMINAL.reshape(3, 3)).reshape(*SHAPE, 9).astype(numpy.float32)
    ratios = []
    for _ in range(rounds):
        library = library_seconds(sys.argv[1])
        other = numpy_seconds(measurement)
        ratios.append(other / library)
        print(f"library {library * 1000:.0f} ms, NumPy {other * 1000:.0f} ms of processor time: {ratios[-1]:.1f} x", flush=True)
    ratio = statistics.median(ratios)
    print(f"median {ratio:.1f} x, asked {ASKED} x")
    return 0 if ratio >= ASKED else 1


if __name__ == "__main__":
    sys.exit(main())
