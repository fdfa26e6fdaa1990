#!/usr/bin/env python3
"""Makes the first inputs of the fuzz targets from the files of this repository: corpus.py [FOUND]

The inputs are in tests/trust/corpus/TARGET/. FOUND: a folder that scripts/trust has left (build/trust/fuzzing); of the inputs
that libFuzzer kept there for the targets that decode programs, some of at most a few hundred bytes are added. Findings are never
removed: files whose name begins with "finding".
"""

import io
import json
import pathlib
import random
import re
import struct
import sys
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[3]
CORPUS = ROOT / "tests/trust/corpus"
SAMPLES = ROOT / "tests/tools/samples"
PROGRAMS = ("replies", "grids", "patterns", "requests", "programs")
LONGEST = 8192
ADDED_BYTES = 6000
ADDED_LENGTH = 400


def targets():
    lines = (ROOT / "tests/trust/fuzz/targets").read_text().splitlines()
    return [line.split()[0] for line in lines if re.match("[a-z]", line)]


def npy(descr, shape, values, fortran=False, version=1):
    header = repr({"descr": descr, "fortran_order": fortran, "shape": shape}).encode()
    length = "<H" if version == 1 else "<I"
    start = b"\x93NUMPY" + bytes([version, 0])
    header += b" " * (-(len(start) + struct.calcsize(length) + len(header) + 1) % 64) + b"\n"
    return start + struct.pack(length, len(header)) + header + values


def arrays():
    """Arrays of every type that is read, of two by one pixels."""
    shorts = list(range(18))
    yield npy("<u2", (1, 2, 9), struct.pack("<18H", *shorts))
    yield npy(">u2", (1, 2, 9), struct.pack(">18H", *shorts), version=2)
    yield npy("<i8", (1, 2, 9), struct.pack("<18q", *shorts), fortran=True)
    yield npy("<i4", (2, 1, 9), struct.pack("<18i", *shorts), version=3)
    yield npy("|u1", (1, 2, 16), bytes(range(32)))
    yield npy("<f8", (1, 2, 9), struct.pack("<18d", *shorts))


def first_inputs(target):
    """Inputs by name."""
    inputs = {}
    if target == "walls":
        for path in sorted((ROOT / "simulator/walls").glob("*.json")) + sorted((ROOT / "tests/tools/walls").glob("*.json")):
            inputs[path.stem] = path.read_bytes()
        inputs["version-1"] = (ROOT / "tests/simulator/wall-version-1/wall.json").read_bytes()
        inputs["every-entry"] = (SAMPLES / "every-entry.json").read_bytes()
    elif target == "journals":
        journal = (SAMPLES / "journal.jsonl").read_bytes()
        inputs["whole"] = journal
        lines = journal.splitlines(keepends=True)
        for i, line in enumerate(lines[1:]):
            inputs[f"line-{i + 1}"] = lines[0] + line
        values = [{"$type": name, "value": 200 if name == "uchar" else 60000} for name in ("uint", "ushort", "uchar")]
        values += [{"$type": name, "value": "60000"} for name in ("qlonglong", "qulonglong")]
        values += [{"$type": "QStringList", "value": ["x"]}, {"$type": "double", "value": "nan"}]
        for value in values:
            inputs[f"type-{value['$type'].lower()}"] = lines[0] + (
                json.dumps({"number": 1, "operation": "HWInfo::lock", "device": "A", "request": {"a": [value]}, "result": True})
                + "\n").encode()
    elif target == "snapshots":
        for path in sorted(SAMPLES.glob("*.snapshot")):
            inputs[path.stem] = b"\0" + path.read_bytes()
            inputs[path.stem + "-mended"] = b"\1" + re.sub(rb'"y":0', b'"y":7', path.read_bytes())
    elif target == "npy":
        for i, array in enumerate(arrays()):
            inputs[f"array-{i}"] = b"\0" + array
            inputs[f"light-{i}"] = b"\2" + array
        archive = io.BytesIO()
        with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as file:
            file.writestr(zipfile.ZipInfo("coefficients.npy"), next(arrays()))
        inputs["archive"] = b"\3" + archive.getvalue()
        row = ",".join(["0", "0"] + [str(i) for i in range(9)])
        inputs["table"] = b"\4" + ("x,y," + ",".join(str(i) for i in range(9)) + "\n" + row + "\n").encode()
        inputs["table-semicolons"] = b"\4" + row.replace(",", ";").encode() + b"\n"
    elif target == "folders":
        # First byte: the directory; second: how its file is changed; third: which file, in the order of their names.
        for base, folder in enumerate((SAMPLES / "wall", SAMPLES / "wall-2", ROOT / "tests/simulator/wall-version-1")):
            names = sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file())
            for i, name in enumerate(names):
                content = (folder / name).read_bytes()
                if name.endswith(".json"):
                    inputs[f"{base}-{pathlib.Path(name).stem}"] = bytes([base, 0, i]) + content
                if name.endswith("state.json"):
                    edited = re.sub(rb'"sha1": "[0-9a-f]{40}"}\s*$', b'"sha1": "edited"}\n', content)
                    inputs[f"{base}-edited"] = bytes([base, 0, i]) + edited
                inputs[f"{base}-changed-{i}"] = bytes([base, 1, i, 0, 40, 1, 1, 0x41])
            for i in range(8):
                inputs[f"{base}-more-{i}"] = bytes([base, 3, i]) + b"something"
    elif target == "base64":
        text = b"".join(re.findall(rb'"coefficients?": "([^"]*)"', (SAMPLES / "journal.jsonl").read_bytes()))
        for form in range(3):
            inputs[f"coefficients-{form}"] = bytes([3, form]) + (text or b"AAECAwQF+/8=")
        inputs["line-breaks"] = b"\0\0" + b"AAEC\r\nAwQF\n+/8=\n"
    # Those that are decoded into programs begin with any bytes.
    if target in PROGRAMS + ("base64",):
        generator = random.Random(target)
        for i, length in enumerate((1, 16, 64, 128, 200)):
            inputs[f"any-{i}"] = bytes(generator.randrange(256) for _ in range(length))
    return inputs


def main():
    for target in targets():
        folder = CORPUS / target
        folder.mkdir(parents=True, exist_ok=True)
        for path in folder.iterdir():
            if not path.name.startswith("finding") and not (len(sys.argv) < 2 and path.name.startswith("found")):
                path.unlink()
        for name, content in first_inputs(target).items():
            if len(content) <= LONGEST:
                (folder / name).write_bytes(content)
        if len(sys.argv) < 2 or target not in PROGRAMS:
            continue
        found = sorted(pathlib.Path(sys.argv[1], target).glob("*"), key=lambda path: path.name)
        random.Random(1).shuffle(found)
        room = ADDED_BYTES
        for path in found:
            content = path.read_bytes()
            if 0 < len(content) <= min(ADDED_LENGTH, room):
                (folder / f"found-{path.name[:12]}").write_bytes(content)
                room -= len(content)


main()
