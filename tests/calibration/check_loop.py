#!/usr/bin/env python3
"""Computes what a calibrated wall shows, by docs/light.md and from the values that were uploaded, and compares photographs,
coefficients and reports with that.

usage: check_loop.py DOCUMENT FOLDER

DOCUMENT is docs/light.md. FOLDER holds wall.json, a wall file without grids whose cabinets begin with the values that change
nothing; calls.jsonl, the journal with the test images and the uploads; photographs (.npy); and loop.json:
"unit", the coefficient that stands for 1; "target", XYZ of red, green and blue; "photos", each with its camera and the number
of the last call before it; "reports" on some of them. The coefficients were calculated from the light before the first upload.
"""

import base64
import json
import math
import pathlib
import sys

import numpy as np

sys.dont_write_bytecode = True  # not into the sources
sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "simulator"))
import check_light  # noqa: E402

# Pairs of Sharma, Wu and Dalal (2005), L* a* b* each, and their difference. Some are close to the step at opposite hues, on
# both sides; exactly there the result depends on rounding.
PAIRS = [
    (50, 2.6772, -79.7751, 50, 0, -82.7485, 2.0425),
    (50, 0, 0, 50, -1, 2, 2.3669),
    (50, 2.4900, -0.0010, 50, -2.4900, 0.0009, 7.1792),
    (50, 2.4900, -0.0010, 50, -2.4900, 0.0011, 7.2195),
    (50, -0.0010, 2.4900, 50, 0.0009, -2.4900, 4.8045),
    (50, -0.0010, 2.4900, 50, 0.0011, -2.4900, 4.7461),
    (50, 2.5, 0, 56, -27, -3, 31.9030),
    (63.0109, -31.0961, -5.8663, 62.8187, -29.7946, -4.0864, 1.2630),
    (22.7233, 20.0904, -46.6940, 23.0331, 14.9730, -42.5619, 2.0373),
    (2.0776, 0.0795, -1.1350, 0.9033, -0.0636, -0.5514, 0.9082),
]


def lab_of(xyz, white):
    t = np.asarray(xyz, float) / white
    f = np.where(t > (6 / 29) ** 3, np.cbrt(t), t * (29 / 6) ** 2 / 3 + 4 / 29)
    return np.stack([116 * f[..., 1] - 16, 500 * (f[..., 0] - f[..., 1]), 200 * (f[..., 1] - f[..., 2])], axis=-1)


def ciede2000(one, other):
    """Equations 2 to 22 of Sharma, Wu and Dalal (2005), for arrays of L* a* b*."""
    l1, a1, b1 = np.moveaxis(np.asarray(one, float), -1, 0)
    l2, a2, b2 = np.moveaxis(np.asarray(other, float), -1, 0)
    mean_c7 = ((np.hypot(a1, b1) + np.hypot(a2, b2)) / 2) ** 7
    g = 0.5 * (1 - np.sqrt(mean_c7 / (mean_c7 + 25.0**7)))
    c1, c2 = np.hypot((1 + g) * a1, b1), np.hypot((1 + g) * a2, b2)
    h1 = np.degrees(np.arctan2(b1, (1 + g) * a1)) % 360
    h2 = np.degrees(np.arctan2(b2, (1 + g) * a2)) % 360
    is_gray = c1 * c2 == 0

    turn = h2 - h1
    turn = np.where(turn > 180, turn - 360, np.where(turn < -180, turn + 360, turn))
    delta_l, delta_c = l2 - l1, c2 - c1
    delta_h = 2 * np.sqrt(c1 * c2) * np.sin(np.radians(np.where(is_gray, 0, turn)) / 2)

    mean_l, mean_c = (l1 + l2) / 2, (c1 + c2) / 2
    total = h1 + h2
    mean_h = np.where(np.abs(h1 - h2) <= 180, total / 2, np.where(total < 360, total / 2 + 180, total / 2 - 180))
    mean_h = np.where(is_gray, total, mean_h)
    t = (
        1
        - 0.17 * np.cos(np.radians(mean_h - 30))
        + 0.24 * np.cos(np.radians(2 * mean_h))
        + 0.32 * np.cos(np.radians(3 * mean_h + 6))
        - 0.20 * np.cos(np.radians(4 * mean_h - 63))
    )
    s_l = 1 + 0.015 * (mean_l - 50) ** 2 / np.sqrt(20 + (mean_l - 50) ** 2)
    s_c = 1 + 0.045 * mean_c
    s_h = 1 + 0.015 * mean_c * t
    rotation = 60 * np.exp(-(((mean_h - 275) / 25) ** 2))
    r_t = -2 * np.sqrt(mean_c**7 / (mean_c**7 + 25.0**7)) * np.sin(np.radians(rotation))
    l, c, h = delta_l / s_l, delta_c / s_c, delta_h / s_h
    return np.sqrt(l**2 + c**2 + h**2 + r_t * c * h)


def plain(value):
    """A value of a journal without its type."""
    if isinstance(value, dict):
        if "$type" in value:
            return plain(value["value"])
        return {key: plain(inner) for key, inner in value.items()}
    return [plain(inner) for inner in value] if isinstance(value, list) else value


class Wall:
    """A wall file, and the calls that its devices took."""

    def __init__(self, folder, unit):
        self.file = json.loads((folder / "wall.json").read_text())
        lines = [json.loads(line) for line in (folder / "calls.jsonl").read_text().splitlines()]
        self.calls = sorted((call for call in lines if "number" in call), key=lambda call: call["number"])
        self.taken = 0
        self.written = set()
        self.devices = {}
        for device in self.file["devices"]:
            cabinets = {}
            for sub_screen in device["screens"][0]["subScreens"]:
                for cabinet in sub_screen["cabinets"]:
                    x, y, width, height = check_light.rect_of(cabinet)
                    unity = np.tile(np.array([unit, 0, 0, 0, unit, 0, 0, 0, unit], np.uint16), (height, width, 1))
                    cabinets[cabinet["id"]] = {
                        "brightness": device.get("brightnessDefault", 5000),
                        "gamma": [[], [], []],
                        "chroma": unity,
                        "lowGray": unity.copy(),
                    }
            self.devices[device["key"]] = {
                "pattern": {"type": "none"},
                "gamma": [[], [], []],
                "cabinets": cabinets,
            }

    def take(self, number):
        """The calls up to this one."""
        while self.taken < len(self.calls) and self.calls[self.taken]["number"] <= number:
            call = self.calls[self.taken]
            self.taken += 1
            if not call["result"]:
                continue
            if call["operation"] == "ScreenInfo::setPixelImage":
                self.devices[call["device"]]["pattern"] = {"type": "pixels", "request": plain(call["request"])}
            elif call["operation"] == "Correctionop::uploadCoefficientAsync":
                for entry in plain(call["request"]):
                    for block in entry["coefficientList"]:
                        self.paste(call["device"], str(entry["cid"]), block)

    def paste(self, device, cabinet, block):
        x, y = block["area"]["point"]["x"], block["area"]["point"]["y"]
        width, height = block["area"]["size"]["width"], block["area"]["size"]["height"]
        values = np.frombuffer(base64.b64decode(block["coefficient"]), "<u2").reshape(height, width, 9)
        self.devices[device]["cabinets"][cabinet]["chroma"][y : y + height, x : x + width] = values
        self.written |= {(device, cabinet, x + i, y + j) for i in range(width) for j in range(height)}

    def values(self):
        """The chroma values of the screen: height x width x 9."""
        placed = []
        for device in self.file["devices"]:
            screen = device["screens"][0]
            origin = screen.get("position", {"x": 0, "y": 0})
            for cabinet in screen["subScreens"][0]["cabinets"]:
                x, y, width, height = check_light.rect_of(cabinet)
                values = self.devices[device["key"]]["cabinets"][cabinet["id"]]["chroma"]
                placed.append((origin["x"] + x, origin["y"] + y, width, height, values))
        screen = np.zeros((max(p[1] + p[3] for p in placed), max(p[0] + p[2] for p in placed), 9))
        for x, y, width, height, values in placed:
            screen[y : y + height, x : x + width] = values
        return screen


def figures_of(light, target, name):
    """Of what the screen shows for an input."""
    columns = np.array(target).reshape(3, 3)
    white = columns.sum(axis=0)
    wanted = white if name == "white" else columns[["red", "green", "blue"].index(name)]
    luminance = light[..., 1].astype(float)
    differences = np.sort(ciede2000(lab_of(wanted, white), lab_of(light, white)), axis=None)

    def below(share):
        return differences[math.ceil(share * (differences.size - 1))]

    return {
        "pixels": luminance.size,
        "luminanceMean": luminance.mean(),
        "luminanceDeviation": luminance.std() / luminance.mean(),
        "luminanceLeast": luminance.min(),
        "luminanceGreatest": luminance.max(),
        "differenceMedian": below(0.5),
        "difference95": below(0.95),
        "differenceWorst": below(1),
    }


def main():
    np.seterr(over="ignore")
    folder = pathlib.Path(sys.argv[2])
    presets, shifts = check_light.documented(pathlib.Path(sys.argv[1]))
    loop = json.loads((folder / "loop.json").read_text())
    wall = Wall(folder, loop["unit"])
    problems = []
    for pair in PAIRS:
        difference = ciede2000(pair[:3], pair[3:6])
        if abs(difference - pair[6]) > 5.1e-5:
            problems.append(f"CIEDE2000 of {pair[:6]}: {difference} instead of {pair[6]}")

    lights = {}
    for photo in loop["photos"]:
        wall.take(photo["calls"])
        light = check_light.light_of_screen(wall.file, {"devices": wall.devices}, presets, shifts)
        expected, _ = check_light.seen(light, photo["camera"])
        problems += check_light.compare(photo["file"], np.load(folder / photo["file"]), expected, photo["camera"])
        lights[photo["file"]] = light

    # Figures of equal light differ in their last digits; those of the differences are rounded to 32 bits.
    for report in loop["reports"]:
        for name, value in figures_of(lights[report["photo"]], loop["target"], report["input"]).items():
            if not math.isclose(report[name], value, rel_tol=1e-6, abs_tol=1e-6):
                problems.append(f"{report['photo']}: {name} is {value}, the report has {report[name]}")

    # The light of each pixel times its matrix is the target: rounded values, in steps of 1 / unit.
    light = np.stack([lights[f"before-{name}.npy"] for name in ("red", "green", "blue")], axis=-1).astype(float)
    matrices = np.linalg.solve(light, np.array(loop["target"]).reshape(3, 3).T)
    values = np.clip(np.rint(matrices * loop["unit"]), 0, 65535).reshape(*light.shape[:2], 9)
    wrong = np.abs(values - wall.values()) > 1
    if wrong.any():
        problems.append(f"{wrong.sum()} of {wrong.size} values are not those of the light and the target")

    for problem in problems:
        print(problem)
    print(
        f"{len(loop['photos'])} photographs, {len(loop['reports'])} reports, {len(wall.written)} pixels written, "
        f"{len(problems)} problems"
    )
    return 1 if problems or not lights else 0


if __name__ == "__main__":
    sys.exit(main())
