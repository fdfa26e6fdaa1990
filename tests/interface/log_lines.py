#!/usr/bin/env python3
"""Compares the critical and warning lines of the libraries' sources with the tables of a page.

usage: log_lines.py SOURCE_DIR PAGE
"""
import pathlib
import re
import sys

STRING = r'"((?:[^"\\]|\\.)*)"'
STRINGS = re.compile(r'(?:\b(QLatin1String|QStringLiteral)\(\s*)?(?:' + STRING + r'\s*)+')
LOGGED = re.compile(r'q(?:C)?(?:Critical|Warning)\(|logFailure|callGroup\(|FailureLine\b')
# Parts of lines: words that say nothing without the rest.
SHORTEST = 8


def normal(text):
    return " ".join(text.replace("\\n", " ").replace("\\|", "|").split())


def statements(text):
    text = re.sub(r"//[^\n]*", "", text)
    text = re.sub(r"^\s*#.*$", "", text, flags=re.M)
    return re.split(r"[;{}]\s*\n", text)


def lines_of(path):
    for statement in statements(path.read_text(encoding="utf-8")):
        if "qCDebug" in statement:
            continue
        for match in STRINGS.finditer(statement):
            words = normal("".join(re.findall(STRING, match.group(0))))
            logged = LOGGED.search(statement)
            # Messages are in tables, too, with a placeholder; a quoted Qt string is one only inside a log statement.
            if (re.search(r"%\d", words) and not match.group(1)) or (logged and len(words) >= SHORTEST and (
                    " " in words or "::" in words or not match.group(1))):
                yield words


def main():
    root, page = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    found = {}
    for folder in ("model", "cabinet", "screen", "adapter", "calibration"):
        for path in sorted(root.joinpath(folder).glob("*.*")):
            if path.suffix in (".cpp", ".h"):
                for words in lines_of(path):
                    found.setdefault(words, f"{folder}/{path.name}")
    text = page.read_text(encoding="utf-8").split("## By log line", 1)[1]
    listed = set()
    for row in re.findall(r"^\| (`.*)", text, flags=re.M):
        first = re.split(r"(?<!\\) \| ", row)[0]
        listed.update(normal(span) for span in re.findall(r"`([^`]+)`", first))
    everywhere = listed | {normal(span) for span in re.findall(r"`([^`\n]+)`", text)}

    missing = [f"{found[words]}: not in the page: {words}" for words in sorted(found) if words not in everywhere]
    unknown = [f"{page.name}: no source logs: {words}" for words in sorted(listed - set(found))]
    for line in missing + unknown:
        print(line, file=sys.stderr)
    if len(found) < 100:
        print(f"only {len(found)} lines found in the sources", file=sys.stderr)
    if missing or unknown or len(found) < 100:
        sys.exit(1)
    print(f"{len(found)} lines are in the page")


main()
