# SPDX-License-Identifier: MIT
"""Captures, read by tshark."""

import subprocess
import xml.etree.ElementTree


def decode(capture, display_filter=""):
    """tshark's packets of a capture, as elements of its XML."""
    done = subprocess.run(
        ["tshark", "-n", "-r", capture, "-T", "pdml", *(["-Y", display_filter] * bool(display_filter))],
        capture_output=True, text=True, timeout=60, check=True)
    return xml.etree.ElementTree.fromstring(done.stdout).findall("packet")


def fields(element, name):
    return element.iterfind(f".//field[@name='{name}']")


def shown(element, name):
    return [field.get("show") for field in fields(element, name)]
