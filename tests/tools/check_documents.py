#!/usr/bin/env python3
"""Checks documents that correctionctl printed against their JSON Schema.

usage: check_documents.py SCHEMA FOLDER

FOLDER holds a .json file for each document, or a .jsonl file of documents, and verbs.json, what `correctionctl verbs --json`
printed: every verb must have its shape in the schema, and a document of every shape must be there. Then each document is
damaged, entry by entry, and the schema must refuse it.
"""

import copy
import json
import pathlib
import sys

import jsonschema


def entries(value, path=()):
    """Every object's entry inside a document, as the path to it."""
    if isinstance(value, dict):
        for key, inner in value.items():
            yield path + (key,)
            yield from entries(inner, path + (key,))
    elif isinstance(value, list):
        for index, inner in enumerate(value[:1]):
            yield from entries(inner, path + (index,))


def damaged(document, path):
    copied = copy.deepcopy(document)
    place = copied
    for step in path[:-1]:
        place = place[step]
    place[path[-1]] = [["no", "such", "value"]]
    return copied


def main():
    schema = json.loads(pathlib.Path(sys.argv[1]).read_text())
    folder = pathlib.Path(sys.argv[2])
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    problems = []

    shapes = {}  # verb -> shape, by the schema's own rules
    for rule in schema["$defs"]["document"]["allOf"]:
        condition = rule["if"]["properties"]
        shape = rule["then"]["properties"]["data"]["$ref"].rsplit("/", 1)[1]
        for verb in condition["verb"].get("enum", [condition["verb"].get("const")]):
            shapes.setdefault(verb, shape)
    verbs = json.loads((folder / "verbs.json").read_text())["data"]["verbs"]
    for verb in verbs:
        if verb["shape"] not in ("", "notification") and shapes.get(verb["name"]) != verb["shape"]:
            problems.append(f"{verb['name']}: shape {verb['shape']}, the schema says {shapes.get(verb['name'])}")

    seen = set()
    checked = 0
    for path in sorted(folder.glob("*.json*")):
        text = path.read_text()
        documents = [json.loads(line) for line in text.splitlines()] if path.suffix == ".jsonl" else [json.loads(text)]
        for document in documents:
            checked += 1
            if document.get("exit", 0) == 0:
                seen.add(document["verb"])
            for error in validator.iter_errors(document):
                problems.append(f"{path.name}: {document.get('verb')}: {error.json_path}: {error.message[:300]}")
            for place in entries(document):
                # A wall's own description has a schema of its own; a failed verb's data is whatever was known.
                if place[:2] == ("data", "wall"):
                    continue
                if document.get("exit", 0) != 0 and place[0] == "data" and document.get("verb") != "diff":
                    continue
                if validator.is_valid(damaged(document, place)):
                    problems.append(f"{path.name}: the schema takes any value at {place}")
    for verb in verbs:
        if verb["shape"] not in ("", "notification") and verb["name"] not in seen:
            problems.append(f"{verb['name']}: no document was checked")

    for problem in problems:
        print(problem)
    print(f"{checked} documents, {len(problems)} problems")
    return 1 if problems or checked < 50 else 0


sys.exit(main())
