#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that platform/contract/management.h is the only place of the vocabulary of management: no
other source of the programs holds one of its numbers, enumerations or words, or asks for an attribute
by its number; and that the manuals name the bounds and defaults that it gives. Prints "N passed, N
failed"."""

import pathlib
import re
import sys

from _results import Results

ROOT = pathlib.Path(__file__).resolve().parents[2]
VOCABULARY = ROOT / "platform" / "contract" / "management.h"
PROGRAMS = ("daemon", "platform", "cli", "plan")

COMMENT = re.compile(r"//[^\n]*")
NUMBER = re.compile(r"(?<![\w.'])(0[xX][0-9a-fA-F']+|\d[\d']*)(?=[uUlL]*\b)")
# Below this a number says nothing by itself; and 1000 is a second everywhere.
LEAST_TELLING = 256
COMMON = {1000}
# Enumerations of the vocabulary, or what would stand for one.
ENUMERATORS = re.compile(r"\b(?:enum\s+(?:class\s+)?|constexpr\s+u32\s+k)"
                         r"(?:Mvrp)?(?:Scalar|PortAttribute|RegistrationMode|ParticipantMode)\b")
# A request, or the form of its value, whose attribute is a number.
BY_NUMBER = re.compile(r"\b(?:Port|Scalar)(?:Get|Set|Sync),(?:[^,;(){}]*,\s*\d+\b|\s*\d+,\s*ValueForm)")
# A mode under a name of its own.
MODE = re.compile(r"\bconstexpr\s+u32\s+k(?:On|Off|Normal|Fixed|Forbidden|Full|NoObserve|Quiet)\s*=\s*[123];")
# Words of several meanings are no copies: "full", "fixed" and "on" are said of other things, too.
WORDS = ("no-observe", "join-time", "leave-time", "leave-all-time", "periodic-time")
# The same number, and another meaning.
OTHERS = {
    ("plan/main.cpp", "3600000"): "an hour of rest",
    ("plan/main.cpp", "3'600'000"): "an hour of rest",
    ("plan/measure.cpp", "30'000"): "until what the start sends has come and gone",
}
SETTING = re.compile(r'"([a-z-]+)",\s*([\d\']+),\s*([\d\']+),\s*([\d\']+),\s*\{\}')
# Document -> what it says of the times: their bounds, or what they are at first.
DOCUMENTS = {
    "docs/command-channel.md": "bounds",
    "packaging/man/mvrpctl.8": "bounds",
    "packaging/man/mvrp-plan.8": "bounds and defaults",
    "packaging/man/mvrp.toml.5": "defaults",
}


def without_comments(text):
    return COMMENT.sub("", text)


def value(text):
    digits = text.replace("'", "").lower()
    return int(digits, 16) if digits.startswith("0x") else int(digits)


def telling_numbers():
    text = without_comments(VOCABULARY.read_text(encoding="utf-8"))
    return {value(number) for number in NUMBER.findall(text)
            if value(number) >= LEAST_TELLING} - COMMON


def copies(name, text, numbers):
    """Yields what a source holds that belongs into the vocabulary."""
    text = without_comments(text)
    for match in NUMBER.finditer(text):
        if value(match.group(1)) in numbers and (name, match.group(1)) not in OTHERS:
            yield f"{name}: {match.group(1)} stands in management.h"
    for pattern in (ENUMERATORS, BY_NUMBER, MODE):
        for match in pattern.finditer(text):
            yield f"{name}: '{match.group(0)}' has a name in management.h"
    for word in WORDS:
        if f'"{word}"' in text:
            yield f'{name}: "{word}" stands in management.h'


def sources(root):
    for folder in PROGRAMS:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".h", ".cpp") and path != VOCABULARY:
                yield path.relative_to(root).as_posix(), path.read_text(encoding="utf-8")


def times():
    """(initial, least, most) of the join, leave and leave-all time."""
    found = {name: tuple(map(value, numbers))
             for name, *numbers in SETTING.findall(VOCABULARY.read_text(encoding="utf-8"))}
    return [found[name] for name in ("join-time", "leave-time", "leave-all-time")]


def stale(name, text, what):
    """Yields what a document does not say of the times."""
    wanted = []
    if "bounds" in what:
        wanted += [f"{least} to {most}" for _, least, most in times()]
    if "defaults" in what:
        wanted.append(", ".join(str(initial) for initial, _, _ in times()))
    for words in wanted:
        if words not in text:
            yield f"{name}: does not say '{words}'"


PLANTED = (
    "constexpr u32 kLongest = 327650;",
    "constexpr u32 kLongest = 327'650U;",
    "constexpr u32 kBase = 0xFC000;",
    "enum class Scalar : u32 { Enable = 1 };",
    "dispatcher.callNumber(Request::PortGet, unit, 6, value);",
    "AttributeForm{Request::ScalarGet, 5, ValueForm::Text},",
    "constexpr u32 kOn = 1;",
    'table.number("join-time", least, most);',
)
HARMLESS = (
    "// 327650 ms at most",
    "dispatcher.setNumber(Request::ScalarSet, 0, attribute, value);",
)


def main():
    numbers = telling_numbers()
    results = Results()
    for line, wrong in [(line, True) for line in PLANTED] + [(line, False) for line in HARMLESS]:
        results.expect(any(copies("planted.cpp", line, numbers)) == wrong, f"the check is wrong about {line}")
    for name, text in sources(ROOT):
        results.nothing(copies(name, text, numbers))
    for name, what in DOCUMENTS.items():
        results.nothing(stale(name, (ROOT / name).read_text(encoding="utf-8"), what))
    return results.end()


if __name__ == "__main__":
    sys.exit(main())
