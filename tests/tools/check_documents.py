#!/usr/bin/env python3
"""Checks documents that correctionctl printed against their JSON Schema.

usage: check_documents.py SCHEMA FOLDER

FOLDER holds a .json file for each document, or a .jsonl file of documents, and verbs.json, what `correctionctl verbs --json`
printed. The data of each document must have the shape that this table names for its verb, every verb must be there, and every
shape of the schema must be that of a verb. Then each document is damaged, entry by entry, and must be refused.
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
    def validator(name):
        return jsonschema.Draft202012Validator({"$ref": f"#/$defs/{name}", "$defs": schema["$defs"]})

    whole = jsonschema.Draft202012Validator(schema)
    problems = []
    verbs = json.loads((folder / "verbs.json").read_text())["data"]["verbs"]
    shapes = {verb["name"]: verb["shape"] for verb in verbs if verb["shape"] not in ("", "notification")}
    for name in set(shapes.values()) - set(schema["$defs"]):
        problems.append(f"shape {name}: not in the schema")
    offered = {entry["$ref"].rsplit("/", 1)[1] for entry in schema["$defs"]["document"]["then"]["properties"]["data"]["anyOf"]}
    for name in offered ^ set(shapes.values()):
        problems.append(f"shape {name}: of a verb but not of \"data\", or the other way round")

    seen = set()
    checked = 0
    for path in sorted(folder.glob("*.json*")):
        text = path.read_text()
        documents = [json.loads(line) for line in text.splitlines()] if path.suffix == ".jsonl" else [json.loads(text)]
        for document in documents:
            checked += 1
            if document.get("exit", 0) == 0:
                seen.add(document["verb"])
            # A failed verb's data is whatever was known; a comparison that finds differences is complete.
            complete = document.get("exit", 0) == 0 or (document["verb"] in ("diff", "verify") and document["exit"] == 20)
            shape = validator(shapes[document["verb"]]) if complete and document["verb"] in shapes else None
            errors = list(whole.iter_errors(document)) + (list(shape.iter_errors(document["data"])) if shape else [])
            for error in errors:
                problems.append(f"{path.name}: {document.get('verb')}: {error.json_path}: {error.message[:300]}")
            for place in entries(document):
                if place[:2] == ("data", "wall"):  # a wall file, which has a schema of its own
                    continue
                if place[0] == "data" and len(place) > 1 and place[1] != "requests":
                    taken = complete and (not shape or shape.is_valid(damaged(document["data"], place[1:])))
                else:
                    taken = whole.is_valid(damaged(document, place))
                if taken:
                    problems.append(f"{path.name}: any value is accepted at {place}")
    for name in shapes.keys() - seen:
        problems.append(f"{name}: no document was checked")

    for problem in problems:
        print(problem)
    print(f"{checked} documents, {len(problems)} problems")
    return 1 if problems or checked < 50 else 0


sys.exit(main())
