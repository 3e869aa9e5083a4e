#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks what documents say of the tree: links lead somewhere, README.md maps every folder, records name
their date and commit, numbers are those of the code. Prints "N passed, N failed"."""

import pathlib
import re
import subprocess
import sys

import includes
from _results import Results, in_tree

ROOT = pathlib.Path(__file__).resolve().parents[2]
LINK = re.compile(r"\]\(([^)#\s]+)(?:#[^)]*)?\)")
RECORD = re.compile(r"(\d{4})-(\d{2})-(\d{2})-[a-z0-9-]+\.md")
MONTHS = ("January February March April May June July August September October November "
          "December").split()
# Folders whose own folders stand in the map, too.
PARTED = ("cli", "daemon", "platform", "tests")
SUFFIXES = {".cpp", ".h", ".md", ".py", ".scn", ".sh", ".toml", ".trace"}
MADE = re.compile(r"^build|^out/|[A-Z]{4}")  # what a run makes, and words that stand for a name
# A number in a document -> where the code has it.
NUMBERS = [
    ("docs/linux-guide.md", r"room for (\d+) ports", "platform/config",
     r"kLinuxPortNumber = (\d+)"),
]


def tracked(root):
    """The files of the tree; all of them where there is no repository."""
    done = subprocess.run(["git", "-C", root, "ls-files", "-co", "--exclude-standard"],
                          capture_output=True, text=True, check=False)
    if done.returncode == 0:
        names = [name for name in done.stdout.splitlines() if (root / name).exists()]
    else:
        names = [str(path.relative_to(root)) for path in root.rglob("*") if path.is_file()]
    return sorted(names)


def dead_links(root):
    for name in tracked(root):
        if not name.endswith(".md"):
            continue
        for target in LINK.findall((root / name).read_text(encoding="utf-8")):
            if "://" not in target and not ((root / name).parent / target).exists():
                yield f"{name}: {target} is not there"


def unmapped_folders(root):
    """Folders of the first floor that have no row in the map of README.md, and rows of none."""
    rows = set(re.findall(r"^\| `([a-z]+)/` \|", (root / "README.md").read_text(encoding="utf-8"),
                          re.MULTILINE))
    folders = {name.split("/")[0] for name in tracked(root)
               if "/" in name and not name.startswith(".")}
    yield from (f"README.md: no row for {name}/" for name in sorted(folders - rows))
    yield from (f"README.md: a row for {name}/, which is not there" for name in sorted(rows - folders))


def unmapped_parts(root):
    """Folders of the second floor that the row of their folder in README.md does not name."""
    rows = dict(re.findall(r"^\| `([a-z]+)/` \|(.*)$",
                           (root / "README.md").read_text(encoding="utf-8"), re.MULTILINE))
    parts = {tuple(name.split("/")[:2]) for name in tracked(root) if name.count("/") > 1}
    for folder, part in sorted(parts):
        if folder in PARTED and not re.search(f"`{part}`", rows.get(folder, "")):
            yield f"README.md: the row of {folder}/ does not name {part}"


def map_documents(root):
    """The documents that say where things are."""
    return [name for name in tracked(root)
            if name == "docs/architecture.md" or pathlib.PurePath(name).name == "README.md"]


def names_of_files(text):
    """What stands in backticks and reads like a file or a folder of the tree."""
    for name in re.findall(r"`([A-Za-z0-9_.-]+(?:/[A-Za-z0-9_.-]+)*/?)`", text):
        if not MADE.search(name) and ("/" in name or pathlib.PurePath(name).suffix in SUFFIXES):
            yield name


def unknown_files(root):
    """Names in the documents that lead nowhere, from the document's folder or from one around it. A
    name without a folder may be that of any file."""
    known = {pathlib.PurePath(name).name for name in tracked(root)}
    for document in map_documents(root):
        folders = pathlib.PurePath(document).parents
        for name in names_of_files((root / document).read_text(encoding="utf-8")):
            if name not in known and not any((root / folder / (name + suffix)).exists()
                                             for folder in folders for suffix in ("", ".h")):
                yield f"{document}: {name} is not there"


def wrong_drawing(root):
    """Floors that docs/architecture.md does not draw as includes.py has them, the highest first, and
    files that its walk names more than once."""
    text = (root / "docs/architecture.md").read_text(encoding="utf-8")
    lines = [line.split() for line in re.findall(r"^    +(.*)$", text, re.MULTILINE)]
    for folder, floors in includes.FLOORS.items():
        at = -1
        for floor in floors:
            drawn = [i for i, words in enumerate(lines) if i > at and set(floor) <= set(words)]
            if floor != (".",) and not drawn:
                yield f"docs/architecture.md: does not draw the floor {' '.join(floor)} of {folder}/"
                break
            at = drawn[0] if drawn else at
    walk = text.partition("## A stranger's walk")[2].partition("\n## ")[0]
    seen = [name for name in names_of_files(walk) if name.startswith(("cli/", "daemon/", "platform/"))]
    for name in sorted(name for name in set(seen) if seen.count(name) > 1):
        yield f"docs/architecture.md: the walk comes by {name} more than once"


def loose_records(root):
    """Records without the date of their name, without a commit, or without a line in the list."""
    folder = root / "docs" / "records"
    index = (folder / "README.md").read_text(encoding="utf-8")
    for path in sorted(folder.glob("*.md")):
        if path.name == "README.md":
            continue
        date = RECORD.fullmatch(path.name)
        if not date:
            yield f"{path.name}: the name of a record is DATE-SUBJECT.md"
            continue
        year, month, day = date.groups()
        text = path.read_text(encoding="utf-8")
        stated = f"{int(day)} {MONTHS[int(month) - 1]} {year}, commit"
        if not re.search(rf"^{stated} [0-9a-f]{{7,}}[.;,]", text, re.MULTILINE):
            yield f"{path.name}: says no date and commit"
        if f"]({path.name})" not in index:
            yield f"{path.name}: is not listed in docs/records/README.md"


def wrong_numbers(root):
    for document, said, folder, known in NUMBERS:
        sources = "\n".join(path.read_text(encoding="utf-8")
                            for path in sorted((root / folder).rglob("*.[ch]*"))
                            if path.suffix in (".cpp", ".h"))
        stated = re.findall(said, (root / document).read_text(encoding="utf-8"))
        held = re.findall(known, sources)
        if not stated or len(held) != 1 or set(stated) != set(held):
            yield f"{document}: {said} says {stated}, the code {held}"


def wrong_behaviour(root):
    """Corrections without a row of their own in docs/behaviour.md, and scenarios that are not there."""
    text = (root / "docs/behaviour.md").read_text(encoding="utf-8")
    header = (root / "platform/contract/corrections.h").read_text(encoding="utf-8")
    names = re.search(r"kCorrectionNames = \{(.*?)\};", header, re.DOTALL)
    names = re.findall(r'"([a-z-]+)"', names[1]) if names else []
    rows = re.findall(r"^\| `([a-z-]+)` \|", text, re.MULTILINE)
    if not names or rows != names:
        yield f"docs/behaviour.md: rows {rows}, corrections {names}"
    for name in re.findall(r"`([a-z]+/[a-z0-9-]+)`", text):
        if not (root / "tests/scenario/cases" / f"{name}.scn").exists():
            yield f"docs/behaviour.md: no scenario {name}"
    for name in names:
        if not list((root / "tests/scenario/cases/corrections" / name).glob("*-without.scn")):
            yield f"docs/behaviour.md: no scenario shows what {name} mends"


def wrong_versions(root):
    """CMakeLists.txt has the version; the package's and the one being described have to be it."""
    def first(name, pattern):
        found = re.search(pattern, (root / name).read_text(encoding="utf-8"), re.MULTILINE)
        return found[1] if found else None

    version = first("CMakeLists.txt", r"^project\(mvrp VERSION (\S+)")
    for name, pattern in (("packaging/debian/changelog", r"\A\S+ \(([^)]+)\)"),
                          ("CHANGELOG.md", r"^## ([^,\s]+)")):
        stated = first(name, pattern)
        if version is None or stated != version:
            yield f"{name}: version {stated}, CMakeLists.txt {version}"


CHECKS = [dead_links, unmapped_folders, unmapped_parts, unknown_files, wrong_drawing, loose_records,
          wrong_numbers, wrong_behaviour, wrong_versions]

DRAWING = "".join(f"    {' '.join(floor)}\n" for floors in includes.FLOORS.values() for floor in floors)
# A tree without mistakes, and what puts one into it: the check that has to notice, file, text or None.
SOUND = {
    "README.md": "| `docs/` | x |\n| `packaging/` | x |\n| `platform/` | `config`, `contract`, `host` |\n"
                 "| `tests/` | `scenario` |\n",
    "docs/architecture.md": f"{DRAWING}## A stranger's walk\n`platform/host/x.cpp`, `x.cpp`, `host`\n"
                            "## Else\n`platform/host/x.cpp`, `build/x.cpp`\n",
    "docs/behaviour.md": "| x | `a/b` |\n| `one-more` | x | x |\n",
    "platform/contract/corrections.h": 'kCorrectionNames = {\n    "one-more",\n};\n',
    "tests/scenario/cases/a/b.scn": "\n",
    "tests/scenario/cases/corrections/one-more/x-without.scn": "\n",
    "docs/linux-guide.md": "There is room for 512 ports.\n",
    "docs/records/README.md": "[x](2026-01-02-x.md)\n",
    "docs/records/2026-01-02-x.md": "# X\n\n2 January 2026, commit abcdef0.\n",
    "platform/host/x.cpp": "\n",
    "CMakeLists.txt": "project(mvrp VERSION 1.2.3 LANGUAGES CXX)\n",
    "packaging/debian/changelog": "mvrp (1.2.3) unstable; urgency=medium\n",
    "CHANGELOG.md": "# Changes\n\n## 1.2.3, not yet released\n\n## 1.2.2\n",
    "platform/config/x.h": "inline constexpr u32 kLinuxPortNumber = 512;\n",
}
PLANTED = [
    (dead_links, "docs/linux-guide.md", "There is room for 512 ports. [x](gone.md)\n"),
    (unmapped_folders, "lab/x.py", "\n"),
    (unmapped_folders, "README.md", SOUND["README.md"] + "| `gone/` | x |\n"),
    (unmapped_parts, "tests/unit/x.cpp", "\n"),
    (unknown_files, "docs/architecture.md", DRAWING + "`platform/host/y.cpp`\n"),
    (wrong_drawing, "docs/architecture.md", DRAWING.partition("\n")[2]),
    (wrong_drawing, "docs/architecture.md",
     DRAWING + "## A stranger's walk\n`platform/host/x.cpp`, `platform/host/x.cpp`\n"),
    (unknown_files, "tests/scenario/README.md", "`y.cpp`\n"),
    (loose_records, "docs/records/2026-01-02-x.md", "# X\n\n3 January 2026, commit abcdef0.\n"),
    (loose_records, "docs/records/2026-01-02-x.md", "# X\n\n2 January 2026.\n"),
    (loose_records, "docs/records/2026-01-03-y.md", "# Y\n\n3 January 2026, commit abcdef0.\n"),
    (wrong_numbers, "docs/linux-guide.md", "There is room for 48 ports.\n"),
    (wrong_behaviour, "docs/behaviour.md", "| `one-more` | x | x |\n| `another` | x | x |\n"),
    (wrong_behaviour, "docs/behaviour.md", "| x | `a/c` |\n| `one-more` | x | x |\n"),
    (wrong_behaviour, "tests/scenario/cases/corrections/one-more/x-without.scn", None),
    (wrong_versions, "CMakeLists.txt", "project(mvrp VERSION 1.2.4 LANGUAGES CXX)\n"),
    (wrong_versions, "packaging/debian/changelog", "mvrp (1.2.2) unstable; urgency=medium\n"),
    (wrong_versions, "CHANGELOG.md", "# Changes\n\n## 1.2.2\n"),
]


def noticed_by(changed):
    """The checks that object to the sound tree with these files in it."""
    return in_tree(SOUND | changed, lambda root: [check for check in CHECKS if any(check(root))])


def main():
    results = Results()
    results.expect(not noticed_by({}), "a check objects to a sound tree")
    for check, name, text in PLANTED:
        results.expect(check in noticed_by({name: text}),
                       f"{check.__name__} does not notice {text!r} in {name}")
    for check in CHECKS:
        results.nothing(check(ROOT))
    return results.end()


if __name__ == "__main__":
    sys.exit(main())
