#!/usr/bin/python3
"""Times whole processes of correctionctl on a wall directory, beside cp and sync of as many bytes, and prints a table.

usage: verbs.py CORRECTIONCTL FOLDER [--8k] [--rounds N] [FILTER]
FOLDER takes the walls and files; it should be on the disk that is measured.

Every round writes other values than the wall holds. Before each process the disk is idle (sync). Times are medians over the
rounds, elapsed and of the processor; the ratio is that of the elapsed times of neighbours in a round. The baseline of times is
cp and sync of a file with the wall's coefficients, that of memory their size. Memory is the largest RssAnon of /proc/PID/status,
which leaves mapped files out, read every millisecond in a round of its own that is not timed.
"""
import argparse
import json
import os
import pathlib
import re
import resource
import shutil
import statistics
import subprocess
import sys
import time

import numpy

CABINET = 128
BYTES_PER_PIXEL = 18
# Name, arguments, asked times of cp and sync, asked memory as a share of the coefficients.
VERBS = [
    ("write --save", "write uhd {new} --save", 4, 1.3),
    ("read to .npy", "read uhd out.npy", 3, 0.3),
    ("diff with the wall", "diff {new} --screen uhd", 3, 0.3),
    ("snapshot", "snapshot uhd out.snapshot", 3, 0.2),
    ("read to .json", "read uhd out.json", None, 0.3),
    ("restore --save", "restore {old}.snapshot --save", 7, 0.4),
]


def wall_of(width, height):
    """A wall file: controllers of up to 8 x 9 cabinets."""
    rows = [CABINET] * (height // CABINET) + [height % CABINET] * (height % CABINET > 0)
    devices, next_id, top = [], 1, 0
    for first in range(0, len(rows), 9):
        group = rows[first:first + 9]
        for left in range(0, width, 8 * CABINET):
            columns = min(8, (width - left) // CABINET)
            parts, y = [], 0
            for size in sorted(set(group), reverse=True):
                count = group.count(size)
                parts.append({"position": {"x": 0, "y": y},
                              "grid": {"columns": columns, "rows": count, "firstId": next_id, "firstOutput": 1 + y // CABINET,
                                       "cabinetSize": {"width": CABINET, "height": size},
                                       "cards": {"columns": 1, "rows": 1, "modules": {"columns": 2, "rows": 2}}}})
                next_id += columns * count
                y += count * size
            name = f"uhd-{len(devices) + 1}"
            devices.append({"key": name, "label": name, "customName": name,
                            "screens": [{"id": "uhd", "name": "Wall", "position": {"x": left, "y": top},
                                         "subScreens": parts}]})
        top += sum(group)
    return {"format": "led-wall", "version": 1, "title": f"{width} x {height} pixels", "devices": devices}


class Bench:
    def __init__(self, program, folder):
        self.program = os.path.abspath(program)
        self.folder = folder

    def seconds(self, command):
        """Elapsed and processor time of a process."""
        os.sync()
        begin, used = time.perf_counter(), resource.getrusage(resource.RUSAGE_CHILDREN)
        subprocess.run(command, check=True, cwd=self.folder, stdout=subprocess.DEVNULL)
        elapsed, now = time.perf_counter() - begin, resource.getrusage(resource.RUSAGE_CHILDREN)
        return elapsed, now.ru_utime + now.ru_stime - used.ru_utime - used.ru_stime

    def verb(self, arguments):
        return [self.program, "--wall", "wall", "--quiet", *arguments.split()]

    def memory(self, command):
        """The largest private memory of a process, in bytes."""
        process = subprocess.Popen(command, cwd=self.folder, stdout=subprocess.DEVNULL)
        largest = 0
        with open(f"/proc/{process.pid}/status", "rb", buffering=0) as status:
            while process.poll() is None:
                status.seek(0)
                found = re.search(rb"RssAnon:\s+(\d+) kB", status.read())
                if found:
                    largest = max(largest, int(found[1]) * 1024)
                time.sleep(0.001)
        assert process.returncode == 0, command
        return largest


def median(pairs, index):
    return statistics.median(pair[index] for pair in pairs)


def measure(bench, name, width, height, rounds, wanted):
    random = numpy.random.default_rng(1)
    for each in ("a", "b"):
        values = random.integers(0, 65536, (height, width, 9), numpy.uint16)
        numpy.save(bench.folder / f"{each}.npy", values)
    (bench.folder / "wall.json").write_text(json.dumps(wall_of(width, height)))
    run = lambda arguments: subprocess.run(bench.verb(arguments), check=True, cwd=bench.folder)
    subprocess.run([bench.program, "--wall", "wall.json", "--quiet", "wall", "create", "wall"], check=True, cwd=bench.folder)
    for each in ("a", "b"):
        run(f"write uhd {each}.npy --save")
        run(f"snapshot uhd {each}.npy.snapshot")

    grid = width * height * BYTES_PER_PIXEL
    references = {"cp and sync": ["sh", "-c", "cp a.npy copy.npy && sync copy.npy"],
                  "b2sum": ["b2sum", "a.npy"], "xxh128sum": ["xxh128sum", "a.npy"]}
    seconds, ratios, memory = {}, {}, {}
    for number in range(rounds + 1):
        new, old = ("a.npy", "b.npy") if number % 2 == 0 else ("b.npy", "a.npy")
        copied = None
        for title, command in references.items():
            if number > 0:
                seconds.setdefault(title, []).append(bench.seconds(command))
                copied = copied or seconds[title][-1][0]
        for title, arguments, _, _ in VERBS:
            if not re.search(wanted, title) and title not in ("write --save", "restore --save"):
                continue
            command = bench.verb(arguments.format(new=new, old=old))
            if number == 0:
                memory[title] = bench.memory(command)
                continue
            seconds.setdefault(title, []).append(bench.seconds(command))
            ratios.setdefault(title, []).append(seconds[title][-1][0] / copied)

    print(f"\n{name}, {grid / 1e6:.0f} MB of coefficients; medians of {rounds} rounds: " + ", ".join(
        f"{title} {median(seconds[title], 0):.2f} s" for title in references))
    print("\n| verb | time | of a processor | times the baseline: target | measured | memory | share of the baseline: target "
          "| measured | met |\n|---|--:|--:|--:|--:|--:|--:|--:|---|")
    for title, _, asked, share in VERBS:
        if title not in ratios:
            continue
        ratio = statistics.median(ratios[title])
        own = memory[title] / grid
        met = (asked is None or ratio <= asked) and own <= share
        print(f"| {name} {title} | {median(seconds[title], 0):.2f} s | {median(seconds[title], 1):.2f} s "
              f"| {f'{asked} x' if asked else '–'} | {ratio:.1f} x "
              f"| {memory[title] / 1e6:.0f} MB | {share} x | {own:.2f} x | {'yes' if met else 'no'} |")
    sys.stdout.flush()


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("program")
    parser.add_argument("folder")
    parser.add_argument("--8k", dest="large", action="store_true")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("filter", nargs="?", default="")
    options = parser.parse_args()
    for name, width, height in [("4K", 3840, 2160)] + [("8K", 7680, 4320)] * options.large:
        folder = pathlib.Path(options.folder)
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        measure(Bench(options.program, folder), name, width, height, options.rounds, options.filter)
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
