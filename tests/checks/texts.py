#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every text that the daemon's sources hold is seen in a recorded trace, and no trace holds another.

texts.txt lists the formats of all trace lines, operator messages and dump lines, one a line, as C
writes them and with the parts put in that the daemon composes them of. What it lists is compared with
the string literals of daemon/, both ways, and with the traces, both ways.
Usage: texts.py [BUILD DIRECTORY, not used]
"""

import re
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
CASES = HERE.parent / "scenario" / "cases"
DAEMON = HERE.parents[1] / "daemon"

# Literals that are no part of a text: names, and what only the compiler says.
NAMES = re.compile(r"""
    avx2 | /tmp/mvrp\w+\.socket                      # the machine, sockets
  | mvrp(?:Dbg|Show|dbg|Vlan|Port)\w+                # debug entry points
  | mvrp | mvrptask | mvrpcmdtask | mvrp_port | mvrp_vlan
  | mvrp\.(?:enable|max\w+|vlannum\w+)               # start-up options
  | (?:APP|REG)_STATE_\w+                            # states, which the tables spell out
  | MVRP_Vl3\.10\.00\.00
  | \(nil\)                                          # no address, which %p stands for
""", re.VERBOSE)
COMPILER_SAYS = re.compile(r'\bthrow\s*$|\bstatic_assert\s*\([^;]*$')
TOKEN = re.compile(r"""(?P<text>"(?:[^"\\\n]|\\.)*")|'(?:[^'\\\n]|\\.)*'|//[^\n]*|/\*.*?\*/
                   |^[ \t]*\#[ \t]*include[^\n]*""", re.DOTALL | re.MULTILINE | re.VERBOSE)
LINE_END = re.compile(r"\\[rn]")
CONVERSION = re.compile(r"%(?:%|#?\d*[a-z])")

# What a conversion of printf prints, in a recorded trace.
CONVERSIONS = {
    "%u": r"\d+",
    "%d": r"-?\d+",
    "%s": r".*",
    "%02x": r"[0-9a-f]{2}",
    "%#x": r"(?:0x[0-9a-f]+|0)",
    "%p": r"(?:\(nil\)|0x[0-9a-f]+)",
}
# What no scenario can reach, and why.
UNREACHABLE = {
    r"if vlan del handler; step1.del vlan %u ok\r\n":
        "the immediate removal deletes no VLAN from the switch at a change of port",
    r"Propagate join; no port enable mvrp\r\n": "tests/unit/daemon/no_port_test.cpp",
    r"Propagate join msg send; no port enable mvrp\r\n": "tests/unit/daemon/no_port_test.cpp",
    r"propagate leave; no port enable mvrp\r\n": "tests/unit/daemon/no_port_test.cpp",
    r"clr propagate; no port enable mvrp\r\n": "tests/unit/daemon/no_port_test.cpp",
}
# Data lines of the hex dump have no text of their own.
HEX_LINE = re.compile(r"(?:[0-9a-f]{2} )*(?:\\r\\n)?")
EVENT = re.compile(r'^  (?:(?:log|iflog) [0-9a-f]{8} \d+ \d+|out|perror) "(.*)"$')


def literals(source):
    """Yields the string literals of a source, as written; those side by side are one."""
    text, end = "", None
    for token in TOKEN.finditer(source):
        if token["text"] is None:
            continue
        if end is not None and not source[end:token.start()].strip():
            text += token["text"][1:-1]
        else:
            if text:
                yield text
            said_by_compiler = COMPILER_SAYS.search(source[:token.start()])
            text = "" if said_by_compiler else token["text"][1:-1]
        end = token.end()
    if text:
        yield text


def composed(literal):
    """The regular expression of the texts that a literal may be put together to. One that ends a line
    is a whole text, another a part of some."""
    parts = [".*" if CONVERSION.fullmatch(part) else re.escape(part)
             for part in re.split(f"({CONVERSION.pattern})", literal)]
    whole = "".join(parts)
    return re.compile(whole if LINE_END.search(literal) else rf".*(?<!\w){whole}(?!\w).*")


def sources(daemon):
    return sorted(path for path in daemon.rglob("*") if path.suffix in (".h", ".cpp"))


def says_something(literal):
    """Whether a literal is more than what others put in, and no name."""
    rest = LINE_END.sub("", CONVERSION.sub("", literal))
    return re.search(r"\w|=", rest) and not NAMES.fullmatch(literal)


def listed(literal, texts):
    """The texts that a literal may be put together to."""
    return {text for text in texts if composed(literal).fullmatch(text)}


def unlisted(found, texts):
    """Yields the literals that are of no text."""
    return (literal for literal in sorted(found)
            if says_something(literal) and not listed(literal, texts))


def unwritten(found, texts):
    """Yields the texts that no literal ends the line of."""
    written = set()
    for literal in found:
        if LINE_END.search(literal):
            written |= listed(literal, texts)
    return (text for text in texts if text not in written)


PLANTED = [
    'MVRP_TRACE(MVRP_DEBUG_STATE, 0, 0, "a new line of port %u\\r\\n", unit);',
    'MVRP_TRACE(MVRP_DEBUG_STATE, 0, 0, "%s; a new line\\n\\r", kind.name);',
    'mvrpStartTrace("a new"\n    " failure\\n\\r");',
    'mvrpGvrpJoinTrace(port, vid, "five");',
    'constexpr MvrpApplyKind kNew = {.name = "new handler"};',
    'printf("%u new\\n\\r", port->enable);',
]


def comparison(found, texts):
    """Yields where the list and the literals differ, and what of the planted is overlooked."""
    for literal in unlisted(found, texts):
        yield f"texts.txt does not list: {literal}"
    for text in unwritten(found, texts):
        yield f"daemon/ does not hold: {text}"
    for line in PLANTED:
        if not list(unlisted(set(literals(line)), texts)):
            yield f"the check does not notice {line}"
    if not list(unwritten(found, [r"nobody writes this\r\n"])):
        yield "the check does not notice a text that nobody writes"


def pattern(text):
    """The regular expression of a format's output."""
    parts = re.split("(" + "|".join(map(re.escape, CONVERSIONS)) + ")", text)
    return re.compile("".join(CONVERSIONS.get(part) or re.escape(part) for part in parts))


def main():
    texts = (HERE / "texts.txt").read_text().splitlines()
    wanted = {text: pattern(text) for text in texts}
    seen, unknown = set(), {}
    for trace in sorted(CASES.rglob("*.trace")):
        for line in trace.read_text().splitlines():
            event = EVENT.match(line)
            if not event or event[1] in seen:
                continue
            hits = [text for text, regex in wanted.items() if regex.fullmatch(event[1])]
            seen.update(hits)
            if not hits and not HEX_LINE.fullmatch(event[1]):
                unknown.setdefault(event[1], trace)
    found = {text for path in sources(DAEMON) for text in literals(path.read_text())}
    problems = list(comparison(found, texts))
    missing = [text for text in texts if (text in seen) == (text in UNREACHABLE)]
    for text in missing:
        print(f"{'a trace shows after all' if text in seen else 'no trace shows'}: {text}")
    for text, trace in unknown.items():
        print(f"{trace.relative_to(CASES)}: not in texts.txt: {text}")
    print("\n".join(problems), end="\n" if problems else "")
    passed = len(texts) - len(missing) + len(PLANTED) + 1
    failed = len(missing) + len(unknown) + len(problems)
    print(f"{passed} passed, {failed} failed")
    return failed != 0


if __name__ == "__main__":
    sys.exit(main())
