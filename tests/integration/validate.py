#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Reads documents on the standard input and checks them with public parsers. Run with the system's
Python, for which Debian packages these parsers.

usage: validate.py SCHEMA [--lines]    JSON against a JSON Schema, one document or one a line
       validate.py --openmetrics       OpenMetrics text; prints the number of samples"""

import json
import pathlib
import sys


def check_json(schema_file, lines):
    import jsonschema
    schema = json.loads(pathlib.Path(schema_file).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    text = sys.stdin.read()
    documents = [json.loads(line) for line in text.splitlines()] if lines else [json.loads(text)]
    for document in documents:
        jsonschema.Draft202012Validator(schema).validate(document)
    return len(documents)


def check_metrics():
    from prometheus_client.openmetrics.parser import text_string_to_metric_families
    return sum(len(family.samples) for family in text_string_to_metric_families(sys.stdin.read()))


if __name__ == "__main__":
    if sys.argv[1] == "--openmetrics":
        print(check_metrics())
    else:
        print(check_json(sys.argv[1], "--lines" in sys.argv))
