#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that the daemon's library needs nothing but the contract and libc: what it leaves undefined
is declared in platform/contract or exported by libc. Prints "N passed, N failed".

usage: symbols.py BUILD-DIRECTORY (a build without sanitizers)"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
# Made by the compiler or the linker, not called by the code.
COMPILER = {"_GLOBAL_OFFSET_TABLE_", "__dso_handle", "__TMC_END__",
            "__cpu_model", "__cpu_indicator_init"}  # of __builtin_cpu_supports()


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def archive_symbols(archive):
    """(undefined, defined) names of all members together, demangled, without parameters."""
    undefined, defined = set(), set()
    for line in output("nm", "-C", str(archive)).splitlines():
        match = re.match(r"^[0-9a-f ]{16} ([A-Za-z]) (.*)$", line)
        if match:
            (undefined if match[1] in "Uw" else defined).add(match[2])
    return undefined - defined, defined


# What of the library may change while it runs: the record, and what daemon/base/info.h says of the others.
STATE = {"gMvrpInfo", "gMvrpSentBefore", "gMvrpSyncDebug", "gMvrpBytes"}


def variables(archive):
    """Names of what lies in memory that is written to, without what only the loader fills in."""
    lines = output("objdump", "-tC", str(archive)).splitlines()
    written = re.compile(r"^[0-9a-f]{16} .{7} \.(?:data|bss|tdata|tbss)(?!\.rel)\S*\t"
                         r"[0-9a-f]{16} (?:\.hidden )?(.+)$")
    found = {match[1] for match in map(written.match, lines) if match}
    return {name for name in found if not name.startswith(".")}


def libc_symbols():
    library = output("c++", "-print-file-name=libc.so.6").strip()
    lines = output("nm", "-D", "--defined-only", library).splitlines()
    return {line.split()[-1].split("@")[0] for line in lines}


def contract_names():
    """Functions that the contract's headers declare."""
    text = "\n".join(p.read_text(encoding="utf-8") for p in (ROOT / "platform/contract").glob("*.h"))
    return set(re.findall(r"^(?!#|//)[\w*:& ]+?\b(\w+)\(", text, re.MULTILINE))


def main():
    archive = pathlib.Path(sys.argv[1], "daemon", "libmvrp_daemon.a")
    undefined, defined = archive_symbols(archive)
    found = variables(archive)
    beside = sorted(found - STATE)
    contract, libc = contract_names(), libc_symbols()
    foreign = [
        name for name in sorted(undefined)
        if name.split("(")[0] not in contract and name not in libc and name not in COMPILER
    ]
    checks = [
        ("the contract's functions are found in its headers", {"silOptRead", "avl_walk",
                                                               "qor_recvmsg"} <= contract),
        ("libc's functions are found in libc", {"memcpy", "sleep"} <= libc and "qor_if" not in libc),
        ("the library calls the contract", bool({n.split("(")[0] for n in undefined} & contract)),
        ("the library defines the daemon", any(n.startswith("mvrpFsmChange(") for n in defined)),
        ("the library needs only the contract and libc", not foreign),
        ("the record is found among the variables", "gMvrpInfo" in found),
        ("all other state is named", not beside),
    ]
    for name in foreign:
        print(f"libmvrp_daemon.a needs {name}, which is neither the contract's nor libc's")
    for name in beside:
        print(f"{name} is state outside gMvrpInfo; see daemon/base/info.h")
    for text, good in checks:
        if not good:
            print(f"FAILED: {text}")
    failed = sum(not good for _, good in checks)
    print(f"{len(checks) - failed} passed, {failed} failed")
    return failed != 0


if __name__ == "__main__":
    sys.exit(main())
