#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks which folder includes which: the portable daemon stands on the standard library and the
contract alone, and the platform knows nothing of the daemon. Prints "N passed, N failed"."""

import pathlib
import re
import sys
import tempfile

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
STANDARD = re.compile(r"^[a-z_]+$")  # C++ standard headers have no suffix and no folder

# folder -> (may include standard headers only, prefixes of the project's headers it may include)
RULES = {
    "platform/contract": (False, ("platform/contract/",)),
    "daemon": (True, ("daemon/", "platform/contract/")),
    "platform": (False, ("platform/",)),
    # The daemon runs on it in this process, so it reaches into the daemon; of the rest of the platform it
    # takes what has no state of its own.
    "platform/virtual": (False, ("platform/virtual/", "platform/contract/", "platform/containers/",
                                 "platform/switch/route_message.h", "platform/wire/frame.h", "daemon/")),
    "cli": (False, ("cli/", "platform/contract/", "platform/command/wire.h",
                    "platform/command/watch_wire.h", "platform/config/load.h",
                    "platform/config/vlan_algebra.h", "platform/config/vlan_ranges.h",
                    "platform/inspect/", "platform/wire/events.h", "platform/wire/pcap.h")),
}


def violations(root, folder):
    """Yields "file: include" for each include that the folder's rule forbids."""
    standard_only, prefixes = RULES[folder]
    inner = [root / other for other in RULES if other.startswith(folder + "/")]
    for path in sorted((root / folder).rglob("*")):
        if path.suffix not in (".h", ".cpp") or any(path.is_relative_to(room) for room in inner):
            continue
        for kind, name in INCLUDE.findall(path.read_text(encoding="utf-8")):
            if kind == '"':
                allowed = name.startswith(prefixes)
            else:
                allowed = not standard_only or STANDARD.match(name)
            if not allowed:
                yield f"{path.relative_to(root)}: must not include {name}"


def plant(root, folder, line):
    """A tree with one file that holds one include."""
    (root / folder).mkdir(parents=True, exist_ok=True)
    (root / folder / "planted.cpp").write_text(line + "\n", encoding="utf-8")


PLANTED = [
    ("daemon", '#include "platform/switch/ports.h"'),
    ("daemon", "#include <sys/socket.h>"),
    ("daemon", "  #  include <unistd.h>"),
    ("platform", '#include "daemon/db/port.h"'),
    ("platform/contract", '#include "platform/command/wire.h"'),
    ("platform/virtual", '#include "platform/switch/switch_driver.h"'),
    ("platform/virtual/network", '#include "tests/simulation/step.h"'),
    ("cli", '#include "platform/config/host_config.h"'),
    ("cli", '#include "platform/switch/switch_driver.h"'),
    ("cli", '#include "platform/wire/adapter.h"'),
]


def main():
    passed = failed = 0
    for folder, line in PLANTED:
        with tempfile.TemporaryDirectory() as name:
            plant(pathlib.Path(name), folder, line)
            if any(list(violations(pathlib.Path(name), rule)) for rule in RULES):
                passed += 1
            else:
                failed += 1
                print(f"the check does not notice {line} in {folder}/")
    root = pathlib.Path(__file__).resolve().parents[2]
    for folder in RULES:
        found = list(violations(root, folder))
        print("\n".join(found), end="\n" if found else "")
        passed += not found
        failed += bool(found)
    print(f"{passed} passed, {failed} failed")
    return failed != 0


if __name__ == "__main__":
    sys.exit(main())
