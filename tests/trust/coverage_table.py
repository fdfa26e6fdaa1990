#!/usr/bin/env python3
"""Shows line and branch coverage by folder: coverage_table.py COVERAGE.json EXPLAINED UNCOVERED FOLDER ...

COVERAGE.json is gcovr's. EXPLAINED lists code that no test reaches, one line each: "FILE: CODE # REASON", CODE being the whole
source line without the blanks around it. Writes all other lines that are not covered, wholly or in part, to UNCOVERED. The exit
code is 1 when a folder has less than is asked and code that is not explained, or when an explanation is about covered code.
"""
import json
import os
import sys

STRICT = {"model", "cabinet", "screen", "qtpromise", "adapter", "simulator/disk"}
ASKED = {True: (100.0, 98.0), False: (98.0, 92.0)}


def folder_of(name, folders):
    found = [folder for folder in folders if name.startswith(folder + "/")]
    return max(found, key=len) if found else None


def read_explained(path):
    explained = {}
    with open(path, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            line = line.strip()
            if not line or line.startswith("#"):
                continue
            place, _, reason = line.rpartition(" # ")
            name, _, code = place.partition(": ")
            if not reason or not code:
                sys.exit(f'{path}:{number}: not "FILE: CODE # REASON"')
            explained[(name, code)] = reason
    return explained


def main(coverage, explanations, uncovered, *folders):
    with open(coverage, encoding="utf-8") as file:
        data = json.load(file)
    explained = read_explained(explanations)
    unused = {key for key in explained if folder_of(key[0], folders)}
    totals = {folder: [0, 0, 0, 0, 0] for folder in folders}  # lines, covered, branches, covered, not explained
    gaps = []
    for entry in data["files"]:
        name = entry["file"]
        folder = folder_of(name, folders)
        if not folder:
            continue
        with open(name, encoding="utf-8") as file:
            source = [line.strip() for line in file]
        total = totals[folder]
        for line in entry["lines"]:
            if line.get("gcovr/noncode"):
                continue
            branches = line["branches"]
            taken = sum(branch["count"] > 0 for branch in branches)
            total[0] += 1
            total[1] += line["count"] > 0
            total[2] += len(branches)
            total[3] += taken
            if line["count"] > 0 and taken == len(branches):
                continue
            code = source[line["line_number"] - 1]
            what = "not reached" if line["count"] == 0 else f"{taken} of {len(branches)} branches"
            if (name, code) in explained:
                unused.discard((name, code))
                what += f"; {explained[(name, code)]}"
            else:
                total[4] += 1
            gaps.append(f"{name}:{line['line_number']}: {what}: {code}\n")
    os.makedirs(os.path.dirname(uncovered) or ".", exist_ok=True)
    with open(uncovered, "w", encoding="utf-8") as file:
        file.writelines(sorted(gaps))

    def percent(covered, count):
        return 100.0 * covered / count if count else 100.0

    failed = False
    for folder, (lines, line_hits, branches, branch_hits, open_gaps) in totals.items():
        if lines == 0:
            print(f"{folder}: no coverage data")
            failed = True
            continue
        line_percent, branch_percent = percent(line_hits, lines), percent(branch_hits, branches)
        asked_lines, asked_branches = ASKED[folder in STRICT]
        enough = line_percent >= asked_lines and branch_percent >= asked_branches
        if not enough and open_gaps:
            failed = True
        verdict = "" if enough else f", {open_gaps} gaps not explained" if open_gaps else ", all gaps explained"
        print(f"{folder} {line_percent:.1f} / {branch_percent:.1f} % (asked {asked_lines:.0f} / {asked_branches:.0f}{verdict})")
    for name, code in sorted(unused):
        print(f"explained, but covered or gone: {name}: {code}")
        failed = True
    return failed


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
