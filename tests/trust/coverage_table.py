#!/usr/bin/env python3
"""Shows line and branch coverage by folder: coverage_table.py BUILD_DIR EXPLAINED UNCOVERED FOLDER ...

Run in the root of the sources. BUILD_DIR holds the .gcda files, or gcov's output for them as .gcov.json files. These do not
count: lines of brackets alone, branches on lines without a decision in the source, branches to exception handlers, and branches
in code that only exceptions reach. The instantiations of a template count as one.

EXPLAINED lists code that no test reaches, one line each: "FILE: CODE # REASON". CODE is the whole source line without the blanks
around it, or the line before it, a space, and that line. Every line that is not covered, wholly or in part, is written to
UNCOVERED, with its reason where EXPLAINED has one.

The exit code is 1 when a folder has less than is asked and code that is not explained, or when an explanation is about covered
code, unless its reason begins with "sometimes: ": code that only some runs reach.
"""
import collections
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

STRICT = {"values", "model", "cabinet", "screen", "qtpromise", "adapter", "simulator/disk"}
ASKED = {True: (100.0, 98.0), False: (98.0, 92.0)}

DECISION = re.compile(r"\b(if|for|while|switch|case|catch)\b|\?|&&|\|\|")
NO_CODE = re.compile(r'"(\\.|[^"\\])*"|//.*')


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


def gcov(folder, path, *options):
    command = ["gcov", "--branch-probabilities", "--stdout", *options, str(path)]
    output = subprocess.run(command, check=True, capture_output=True, cwd=folder).stdout
    return output.decode("utf-8", "replace").splitlines()


# gcov's readable report: a line of the source, a block of code that begins on it, the name above a template's instantiation.
SOURCE_LINE = re.compile(r" *[-#=*0-9]+: *(\d+):(?:Source:(.*))?")
BLOCK = re.compile(r" *(\S+): *\d+-block +\d+")
INSTANTIATION = re.compile(r"([\w.$]+):")
ONLY_EXCEPTIONS = "$$$$$"  # in place of a block's count: not reached, and only an exception would reach it


def branches_after_exceptions(notes, compiled_in):
    """{(file, line, instantiation or None): [whether only an exception reaches the branch]}, from the compiler's notes. gcov
    needs the sources, whose names may be relative to the folder of the compilation."""
    with tempfile.TemporaryDirectory() as folder:  # without data: to gcov no code was reached
        lines = gcov(compiled_in, shutil.copy(notes, folder), "--all-blocks")
    result = collections.defaultdict(list)
    name = instantiation = place = None
    is_after_exception = False
    for line in lines:
        if line.startswith("branch "):
            result[place].append(is_after_exception)
        elif line.startswith("-----"):
            instantiation = None
        elif found := BLOCK.match(line):
            is_after_exception = found[1] == ONLY_EXCEPTIONS
        elif found := SOURCE_LINE.match(line):
            name = found[2] or name
            place = (name, int(found[1]), instantiation)
            is_after_exception = False  # what follows first may belong to a block of the line before
        elif found := INSTANTIATION.fullmatch(line):
            instantiation = found[1]
    return result


def without_exceptions(report, after_exceptions):
    """Marks the branches that only an exception reaches as those that gcov itself marks. Where the reports differ, none."""
    for entry in report["files"]:
        for line in entry["lines"]:
            place = (entry["file"], line["line_number"])
            flags = after_exceptions.get((*place, line.get("function_name"))) or after_exceptions.get((*place, None), [])
            if len(flags) == len(line["branches"]):
                for branch, is_after_exception in zip(line["branches"], flags):
                    branch["throw"] = branch["throw"] or is_after_exception
    return report


def reports(build):
    """gcov's report of every object file."""
    for path in sorted(pathlib.Path(build).rglob("*.gcov.json")):
        yield json.loads(path.read_text(encoding="utf-8"))
    for path in sorted(pathlib.Path(build).rglob("*.gcda")):
        for line in gcov(build, path.resolve(), "--json-format"):
            report = json.loads(line)
            after_exceptions = branches_after_exceptions(path.with_suffix(".gcno"), report["current_working_directory"])
            yield without_exceptions(report, after_exceptions)


def add(sums, counts):
    return [a + b for a, b in zip(sums, counts)] if sums else counts


def read_coverage(build, folders):
    """{file: {line: (count, [(whether of one function, counts of its branches)])}}"""
    counts = collections.defaultdict(int)
    branches = {}  # by file, line, function, number of branches
    for report in reports(build):
        for entry in report["files"]:
            # ccache can make names relative to the folder of the build.
            name = os.path.relpath(os.path.join(report["current_working_directory"], entry["file"]))
            if not folder_of(name, folders):
                continue
            of_functions = {line["line_number"] for line in entry["lines"] if line.get("function_name")}
            for line in entry["lines"]:
                place = (name, line["line_number"])
                counts[place] += line["count"]
                if not line.get("function_name") and line["line_number"] in of_functions:
                    continue  # the branches of all instantiations once more
                taken = [branch["count"] for branch in line["branches"] if not branch["throw"]]
                if len(taken) > 1:
                    key = place + (line.get("function_name"), len(taken))
                    branches[key] = add(branches.get(key), taken)
    # Of an inline function that several object files have, the linker keeps one copy; they need not have the same branches.
    reached = {key[:3] for key, taken in branches.items() if any(taken)}
    merged = {}
    for (name, number, function, length), taken in branches.items():
        if function and (name, number, function) in reached and not any(taken):
            continue
        key = (name, number, function is not None, length)
        merged[key] = add(merged.get(key), taken)
    files = collections.defaultdict(dict)
    for (name, number), count in counts.items():
        files[name][number] = (count, [])
    for (name, number, is_named, _), taken in sorted(merged.items()):
        files[name][number][1].append((is_named, taken))
    return files


def outcomes(lists, decisions):
    """The counts of a line's branches. gcov lists the instantiations of a lambda in a template one after the other."""
    if decisions == 0:
        return []
    merged = {}
    for is_named, taken in lists:
        if decisions == 1 and not is_named and len(taken) % 2 == 0:
            taken = [sum(taken[0::2]), sum(taken[1::2])]
        merged[len(taken)] = add(merged.get(len(taken)), taken)
    return [count for taken in merged.values() for count in taken]


def main(build, explanations, uncovered, *folders):
    explained = read_explained(explanations)
    unused = {key for key, reason in explained.items()
              if folder_of(key[0], folders) and not reason.startswith("sometimes: ")}
    totals = {folder: [0, 0, 0, 0, 0] for folder in folders}  # lines, covered, branches, covered, not explained
    gaps = []
    for name, lines in sorted(read_coverage(build, folders).items()):
        with open(name, encoding="utf-8") as file:
            source = [line.strip() for line in file]
        total = totals[folder_of(name, folders)]
        for number, (count, branches) in sorted(lines.items()):
            code = source[number - 1]
            if not code.strip("{}();"):
                continue  # what the compiler releases at the end of a block
            decisions = len(DECISION.findall(NO_CODE.sub("", code)))
            branches = outcomes(branches, decisions)
            taken = sum(branch > 0 for branch in branches)
            total[0] += 1
            total[1] += count > 0
            total[2] += len(branches)
            total[3] += taken
            if count > 0 and taken == len(branches):
                continue
            what = "not reached" if count == 0 else f"{taken} of {len(branches)} branches"
            after = f"{source[number - 2]} {code}" if number > 1 else code
            key = next((key for key in ((name, after), (name, code)) if key in explained), None)
            if key:
                unused.discard(key)
                what += f"; {explained[key]}"
            else:
                total[4] += 1
            gaps.append(f"{name}:{number}: {what}: {code}\n")
    os.makedirs(os.path.dirname(uncovered) or ".", exist_ok=True)
    with open(uncovered, "w", encoding="utf-8") as file:
        file.writelines(gaps)

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
