#!/usr/bin/env python3
"""Computes the light of a wall and what cameras see of it by docs/light.md, and compares photographs with that.

usage: check_light.py DOCUMENT FOLDER

FOLDER holds wall.json, a wall file without grids, and scenes.json: a list of scenes, each with the settings of the devices and
the photographs that were taken (.npy). Presets and formulas are those of DOCUMENT, docs/light.md.
"""

import json
import math
import pathlib
import re
import sys

import numpy as np

GOLDEN = np.uint64(0x9E3779B97F4A7C15)


def mixed(z):
    z = (z ^ (z >> np.uint64(30))) * np.uint64(0xBF58476D1CE4E5B9)
    z = (z ^ (z >> np.uint64(27))) * np.uint64(0x94D049BB133111EB)
    return z ^ (z >> np.uint64(31))


def chained(hashes, value):
    if isinstance(value, str):
        for byte in [*value.encode(), 256]:
            hashes = chained(hashes, byte)
        return hashes
    return mixed((np.asarray(hashes, np.uint64) ^ np.asarray(value, np.uint64)) + GOLDEN)


def share(hashes):
    return (mixed(hashes + GOLDEN) >> np.uint64(11)).astype(np.float64) / 2.0**53


def normal(hashes):
    total = np.zeros(np.shape(hashes), np.int64)
    for n in (1, 2, 3):
        parts = mixed(hashes + np.uint64(n) * GOLDEN)
        for shift in (0, 16, 32, 48):
            total += ((parts >> np.uint64(shift)) & np.uint64(0xFFFF)).astype(np.int64)
    return (total - 393210) / 65536


def documented(document):
    """The presets, and the shifts of the chromaticity, of the document's tables."""
    presets = {}
    text = document.read_text()
    table = text.split("<!-- table: presets -->")[1].split("\n\n")[0]
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in table.strip().splitlines()]
    names = [cell.strip("`") for cell in rows[0][2:]]
    for cells in rows[2:]:
        for name, cell in zip(names, cells[2:]):
            numbers = [float(number) for number in cell.split(",")]
            presets.setdefault(name, {})[cells[0].strip("`")] = numbers[0] if len(numbers) == 1 else numbers
    shifts = [
        [float(number) for number in re.search(rf"`shift{axis}`, 1/nm \|(.*)\|", text)[1].split("|")] for axis in "XY"
    ]
    assert len(presets) == 4 and len(shifts[0]) == len(shifts[1]) == 3
    return presets, shifts


def leds_of(device, presets):
    given = device.get("leds", "even")
    if isinstance(given, str):
        given = {"preset": given}
    leds = dict(presets[given.get("preset", "even")])
    for key, value in given.items():
        if key in ("red", "green", "blue"):
            value = [value["x"], value["y"], value["luminance"]]
        elif key == "oldest":
            value = [value["red"], value["green"], value["blue"]]
        leds[key] = value
    return leds


def rect_of(cabinet):
    return (
        cabinet["position"]["x"],
        cabinet["position"]["y"],
        cabinet["size"]["width"],
        cabinet["size"]["height"],
    )


# Test images: the levels (height x width x 3) of a frame.


def axis_of_blocks(length, start, size, first, block, interval):
    lit = np.zeros(length, bool)
    for i in range(max(start, 0), min(start + size, length)):
        lit[i] = i - start >= first and (i - start - first) % (block * (interval + 1)) < block
    return lit


def axis_of_squares(length, start, size, first, ordinary, last):
    numbers = np.full(length, -1)
    for i in range(max(start, 0), min(start + size, length)):
        place = i - start
        if place < first:
            numbers[i] = 0
        elif place < size - last:
            numbers[i] = 1 + (place - first) // ordinary
        else:
            numbers[i] = 1 + -(-max(size - last - first, 0) // ordinary)
    return numbers


def levels_of(pattern, width, height):
    levels = np.zeros((height, width, 3))
    if pattern["type"] == "pixels":
        request = pattern["request"]
        region, block, color = request["regionrect"], request["singlerect"], request["color"]
        columns = axis_of_blocks(width, region["x"], region["width"], block["x"], block["width"], request["intervalX"])
        rows = axis_of_blocks(height, region["y"], region["height"], block["y"], block["height"], request["intervalY"])
        levels[np.ix_(rows, columns)] = [color["r"], color["g"], color["b"]]
    elif pattern["type"] == "checkers":
        request = pattern["request"]
        region = request["regionRect"]
        colors = np.array([[color["r"], color["g"], color["b"]] for color in request["regionColor"]])
        columns = axis_of_squares(
            width, region["x"], region["width"], request["firstSquareW"], request["squareW"], request["lastSquareColumnW"]
        )
        rows = axis_of_squares(
            height, region["y"], region["height"], request["firstSquareH"], request["squareH"], request["lastSquareRowH"]
        )
        numbers = (rows[:, None] + columns[None, :]) % len(colors)
        levels = np.where(((rows[:, None] >= 0) & (columns[None, :] >= 0))[..., None], colors[numbers], 0).astype(float)
    return levels


def drives_of(levels, device, state, cabinet):
    tables = [cabinet["gamma"][c] or state["gamma"][c] for c in range(3)]
    greatest = max([0] + [max(table) for table in tables if table])
    scale = 255
    while scale < greatest:
        scale = scale * 2 + 1
    most = device.get("brightnessMax", 10000)
    brightness = min(max(cabinet["brightness"], device.get("brightnessMin", 0)), most)
    drives = np.empty(levels.shape)
    for c, table in enumerate(tables):
        level = levels[..., c]
        if table:
            place = level * (len(table) - 1)
            index = (place // 255).astype(int)
            beyond = place % 255
            entries = np.array(table, float).clip(0)
            light = entries[index] * (255 - beyond) + entries[np.minimum(index + 1, len(table) - 1)] * beyond
        else:
            light = level * scale
        drives[..., c] = light * brightness / (scale * most) / 255
    return drives


# The light


def light_of(device, cabinet, leds, shifts, drives, chroma, low_gray):
    width, height = cabinet["size"]["width"], cabinet["size"]["height"]
    of_cabinet = chained(chained(chained(np.uint64(0), int(leds["seed"])), device["key"]), cabinet["id"])
    pixels = chained(chained(of_cabinet, 3), np.arange(width * height).reshape(height, width))

    modules = [("", None)]
    for card in cabinet.get("receivingCards", []):
        for module in card.get("modules", []):
            modules.append((module["id"], module["rect"]))
    at = np.zeros((height, width), int)
    column_seams = np.ones((height, width))
    row_seams = np.ones((height, width))
    for number, (_, rect) in reversed(list(enumerate(modules))):
        if rect:
            inside = np.s_[rect["y"] : rect["y"] + rect["height"], rect["x"] : rect["x"] + rect["width"]]
            at[inside] = number
            column_seams[inside] = row_seams[inside] = 1
            part = column_seams[inside]
            part[:, [0, -1]] = leds["moduleSeam"]
            part = row_seams[inside]
            part[[0, -1], :] = leds["moduleSeam"]
    column_seams[:, [0, -1]] = leds["cabinetSeam"]
    row_seams[[0, -1], :] = leds["cabinetSeam"]
    of_modules = np.array([chained(chained(of_cabinet, 2), name) for name, _ in modules], np.uint64)

    is_low = drives.max(axis=-1) < leds["lowGrayBelow"]
    matrix = np.where(is_low[..., None], low_gray, chroma).astype(float)
    corrected = np.empty(drives.shape)
    for i in range(3):
        terms = [matrix[..., 3 * i + c] * drives[..., c] for c in range(3)]
        corrected[..., i] = np.minimum((terms[0] + terms[1] + terms[2]) / device.get("coefficientUnit", 32768), 1)
    defect = share(chained(pixels, 6))
    corrected[(defect >= leds["deadPixels"]) & (defect < leds["deadPixels"] + leds["stuckPixels"])] = 1
    corrected[defect < leds["deadPixels"]] = 0

    light = np.zeros((height, width, 3))
    age = share(chained(of_cabinet, 1))
    for c, color in enumerate(("red", "green", "blue")):
        x0, y0, nominal = leds[color]
        ageing = 1 - age * (1 - leds["oldest"][c])
        module = np.maximum(1 + leds["moduleLuminance"] * normal(chained(of_modules, 2 * c)), 0)[at]
        pixel = np.maximum(1 + leds["pixelLuminance"] * normal(chained(pixels, 2 * c)), 0)
        luminance = nominal * ageing * module * pixel * (column_seams * row_seams) * corrected[..., c]
        nm = (leds["moduleWavelength"] * normal(chained(of_modules, 2 * c + 1)))[at]
        nm = nm + leds["pixelWavelength"] * normal(chained(pixels, 2 * c + 1))
        x = np.clip(x0 + shifts[0][c] * nm, 0, 1)
        y = np.clip(y0 + shifts[1][c] * nm, 0.001, 1)
        z = np.maximum(1 - x - y, 0)
        light += np.stack([luminance * x / y, luminance, luminance * z / y], axis=-1)
    return light.astype(np.float32)


def read_planes(scene, folder):
    """Puts the values into the scene in place of the files that hold them."""
    for device in scene["devices"].values():
        for cabinet in device["cabinets"].values():
            for kind in ("chroma", "lowGray"):
                cabinet[kind] = np.frombuffer((folder / cabinet[kind]).read_bytes(), "<u2")


def light_of_screen(wall, scene, presets, shifts):
    placed = []
    for device in wall["devices"]:
        screen = device["screens"][0]
        origin = screen.get("position", {"x": 0, "y": 0})
        for sub_screen in screen["subScreens"]:
            offset = sub_screen.get("position", {"x": 0, "y": 0})
            for cabinet in sub_screen["cabinets"]:
                x, y, width, height = rect_of(cabinet)
                placed.append((device, cabinet, origin["x"] + offset["x"] + x, origin["y"] + offset["y"] + y, width, height))

    def frame(parts):
        left, top = min(part[2] for part in parts), min(part[3] for part in parts)
        return left, top, max(p[2] + p[4] for p in parts) - left, max(p[3] + p[5] for p in parts) - top

    left, top, width, height = frame(placed)
    light = np.zeros((height, width, 3), np.float32)
    for device, cabinet, x, y, w, h in placed:
        state = scene["devices"][device["key"]]
        device_x, device_y, device_w, device_h = frame([part for part in placed if part[0] is device])
        levels = levels_of(state["pattern"], device_w, device_h)[y - device_y : y - device_y + h, x - device_x : x - device_x + w]
        own = state["cabinets"][cabinet["id"]]
        planes = [own[kind].reshape(h, w, 9) for kind in ("chroma", "lowGray")]
        drives = drives_of(levels, device, state, own)
        light[y - top : y - top + h, x - left : x - left + w] = light_of(
            device, cabinet, leds_of(device, presets), shifts, drives, *planes
        )
    return light


# The camera


def weights(distance, blur):
    """Of a pixel whose edge is so far before the photosite, for an array of distances."""
    if blur == 0:
        return ((distance >= 0) & (distance < 1)).astype(float)
    erf = np.vectorize(math.erf)
    unit = blur * math.sqrt(2)
    return (erf(distance / unit) - erf((distance - 1) / unit)) / 2


def seen(light, camera):
    if camera["photosites"] == 0:
        return light.astype(float), np.eye(3)
    height, width, _ = light.shape
    k = camera["photosites"]
    homography = np.diag([k, k, 1]) @ np.array(camera["view"]).reshape(3, 3)
    photo = np.zeros((height * k, width * k, 3))
    columns, rows = np.arange(width), np.arange(height)
    for v in range(height * k):
        u = np.arange(width * k)
        places = np.linalg.solve(homography, np.stack([u + 0.5, np.full(u.size, v + 0.5), np.ones(u.size)]))
        x, y = places[0] / places[2], places[1] / places[2]
        across = weights(x[:, None] - columns[None, :], camera["blur"])
        down = weights(y[:, None] - rows[None, :], camera["blur"])
        photo[v] = np.einsum("ui,uj,jic->uc", across, down, light.astype(float), optimize=True)
    exposed = photo / camera["fullScale"]
    sites = np.arange(exposed.size).reshape(exposed.shape)
    noise = normal(chained(chained(np.uint64(0), camera["seed"]), sites))
    exposed = exposed + np.sqrt(camera["shotNoise"] ** 2 * exposed + camera["readNoise"] ** 2) * noise
    exposed = exposed.clip(0, 1)
    if camera["bits"]:
        steps = 2 ** camera["bits"] - 1
        exposed = np.floor(exposed * steps + 0.5) / steps
    return exposed * camera["fullScale"], homography


def compare(name, photo, expected, camera):
    """Problems of a photograph."""
    if photo.dtype != np.float32 or photo.shape != expected.shape:
        return [f"{name}: {photo.dtype} {photo.shape} instead of float32 {expected.shape}"]
    if photo.max() == 0:
        return [f"{name}: dark"]
    difference = np.abs(photo - expected)
    if camera["photosites"] == 0:
        wrong = int((photo != expected).sum())
        return [f"{name}: {wrong} of {photo.size} values differ, by up to {difference.max()}"] if wrong else []
    # Pixels that are left out far away, and a rounded value that falls to the neighbouring step.
    tolerance = 2e-4 * camera["fullScale"]
    step = camera["fullScale"] / (2 ** camera["bits"] - 1) if camera["bits"] else 0
    if difference.max() > tolerance + step:
        return [f"{name}: differs by up to {difference.max()}"]
    if (difference > tolerance).mean() > 0.01:
        return [f"{name}: {(difference > tolerance).sum()} of {photo.size} values are of another step"]
    return []


def main():
    np.seterr(over="ignore")
    folder = pathlib.Path(sys.argv[2])
    presets, shifts = documented(pathlib.Path(sys.argv[1]))
    wall = json.loads((folder / "wall.json").read_text())
    problems = []
    count = 0
    for scene in json.loads((folder / "scenes.json").read_text()):
        read_planes(scene, folder)
        light = light_of_screen(wall, scene, presets, shifts)
        for photo in scene["photos"]:
            expected, homography = seen(light, photo["camera"])
            problems += compare(photo["file"], np.load(folder / photo["file"]), expected, photo["camera"])
            if not np.allclose(homography.flat, photo["homography"], rtol=1e-12, atol=1e-12):
                problems.append(f"{photo['file']}: homography {photo['homography']} instead of {homography}")
            count += 1
    for problem in problems:
        print(problem)
    print(f"{count} photographs, {len(problems)} problems")
    return 1 if problems or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
