#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Reads documents on the standard input and checks them with public parsers. Run with the system's
Python, for which Debian packages these parsers.

usage: validate.py SCHEMA [--lines]    JSON against a JSON Schema, one document or one a line
       validate.py --files             names of files: DIRECTORY/NUMBER.SCHEMA.json, with documents for the
                                       schema of that name; of watch one a line
       validate.py --openmetrics       OpenMetrics text; prints the number of samples"""

import json
import pathlib
import sys


SCHEMAS = pathlib.Path(__file__).resolve().parents[2] / "schema"


def check_json(schema_file, lines, text):
    import jsonschema
    schema = json.loads(pathlib.Path(schema_file).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    documents = [json.loads(line) for line in text.splitlines()] if lines else [json.loads(text)]
    for document in documents:
        jsonschema.Draft202012Validator(schema).validate(document)
    return len(documents)


def check_files(names):
    """Says of each file that does not fit why. @return how many documents fitted"""
    count = 0
    for path in map(pathlib.Path, names):
        name = path.name.split(".")[1]
        try:
            count += check_json(SCHEMAS / f"{name}.schema.json", name == "watch",
                                path.read_text(encoding="utf-8"))
        except Exception as error:
            sys.exit(f"{path}: {error}")
    return count


def check_metrics():
    from prometheus_client.openmetrics.parser import text_string_to_metric_families
    return sum(len(family.samples) for family in text_string_to_metric_families(sys.stdin.read()))


def yaml_as_json():
    """Documents of YAML as lines of JSON, read by somebody else's reader."""
    import yaml
    return "\n".join(json.dumps(document) for document in yaml.safe_load_all(sys.stdin))


if __name__ == "__main__":
    if sys.argv[1] == "--yaml":
        print(yaml_as_json())
    elif sys.argv[1] == "--openmetrics":
        print(check_metrics())
    elif sys.argv[1] == "--files":
        print(check_files(sys.stdin.read().split()))
    else:
        print(check_json(sys.argv[1], "--lines" in sys.argv, sys.stdin.read()))
