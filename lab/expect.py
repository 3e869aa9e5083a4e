# SPDX-License-Identifier: MIT
"""Expectations: what a switch should show, compared with what it shows.

An expectation of a switch is a table: `static` and `learnt` are VLANs of the switch; any other key
is a port with a table of `registered`, `declared`, `propagated` and `learnt`. A value is VLANs as
ranges and means exactly these; with a leading "+" it means at least these, with "!" none of them."""

PORT_KEYS = {
    "registered": "vlansRegistered",
    "declared": "vlansDeclared",
    "propagated": "vlansPropagated",
    "learnt": "vlansLearnt",
}
SWITCH_KEYS = {"static": "permanent", "learnt": "dynamicMvrp"}


def parse(text):
    """A set of VLAN IDs from ranges."""
    vlans = set()
    for part in text.split(",") if text not in ("", "-") else []:
        first, _, last = part.partition("-")
        vlans |= set(range(int(first), int(last or first) + 1))
    return vlans


def format_ranges(vlans):
    """Ranges from a set of VLAN IDs."""
    runs = []
    for vlan in sorted(vlans):
        if runs and runs[-1][1] == vlan - 1:
            runs[-1][1] = vlan
        else:
            runs.append([vlan, vlan])
    return ",".join(str(a) if a == b else f"{a}-{b}" for a, b in runs) or "-"


def matches(wanted, vlans):
    if wanted.startswith("+"):
        return parse(wanted[1:]) <= vlans
    if wanted.startswith("!"):
        return not parse(wanted[1:]) & vlans
    return parse(wanted) == vlans


def describe(wanted):
    if wanted.startswith("+"):
        return f"at least {wanted[1:]}"
    if wanted.startswith("!"):
        return f"none of {wanted[1:]}"
    return wanted


def wanted_values(expectation):
    """Yields (port or None, key, wanted) of a switch's table."""
    for key, value in expectation.items():
        if isinstance(value, dict):
            for port_key, wanted in value.items():
                yield key, port_key, wanted
        else:
            yield None, key, value


def observe(node, expectation):
    """Yields (text, wanted, seen set of VLANs) for each value of the table."""
    ports, groups = {}, []
    if any(port for port, _, _ in wanted_values(expectation)):
        ports = {port["name"]: port for port in node.query("show ports")["ports"]}
    if any(port is None for port, _, _ in wanted_values(expectation)):
        groups = node.query("show vlans")["vlans"]
    for port, key, wanted in wanted_values(expectation):
        if port is None:
            seen = set()
            for group in groups:
                if group["vlanStatus"] == SWITCH_KEYS[key]:
                    seen |= parse(group["vlans"])
            yield f"{node.name}: VLANs {key}", wanted, seen
        else:
            yield (f"{node.name}: port {port} {key}", wanted,
                   parse(ports[port][PORT_KEYS[key]]))


def differences(nodes, expectations):
    """(number of values looked at, texts of those that differ)."""
    count, texts = 0, []
    for name, expectation in expectations.items():
        for text, wanted, seen in observe(nodes[name], expectation):
            count += 1
            if not matches(wanted, seen):
                texts.append(f"{text} {format_ranges(seen)}, should be {describe(wanted)}")
    return count, texts
