#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Becomes the first process of a container, as a runtime makes one: a root of its own that can not be written
to, volumes, /proc, /dev, a list of capabilities and no way to more, the image's environment and command. Its
namespaces are made before (unshare, ip netns).

usage: container.py ROOT [--volume OUTSIDE:INSIDE] [--capabilities NAME,...] [-- COMMAND...]

ROOT, and beside it ROOT.json, are as layout.py unpacked them."""

import argparse
import ctypes
import json
import os
import struct
import sys

MS_RDONLY, MS_NOSUID, MS_NODEV, MS_NOEXEC, MS_REMOUNT, MS_BIND, MS_REC, MS_PRIVATE = (
    1, 2, 4, 8, 32, 4096, 16384, 1 << 18)
MNT_DETACH = 2
PR_CAPBSET_DROP, PR_SET_NO_NEW_PRIVS = 24, 38
SYS_PIVOT_ROOT = {"x86_64": 155, "aarch64": 41, "armv7l": 218}
CAPABILITIES = {"CHOWN": 0, "DAC_OVERRIDE": 1, "SETGID": 6, "SETUID": 7, "SETPCAP": 8, "NET_ADMIN": 12,
                "NET_RAW": 13}
CAPABILITY_VERSION = 0x20080522

libc = ctypes.CDLL(None, use_errno=True)


def call(function, *arguments):
    if function(*arguments) != 0:
        number = ctypes.get_errno()
        raise OSError(number, os.strerror(number), str(arguments))


def mount(source, target, kind, flags, data=""):
    call(libc.mount, source.encode(), target.encode(), kind.encode(), ctypes.c_ulong(flags), data.encode())


def enter(root, volumes):
    """Makes `root` the root, with nothing of the old one left."""
    mount("none", "/", "", MS_REC | MS_PRIVATE)
    mount(root, root, "", MS_BIND | MS_REC)
    for outside, inside in volumes:
        mount(outside, root + inside, "", MS_BIND)
    mount("proc", root + "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC)
    mount("tmp", root + "/tmp", "tmpfs", MS_NOSUID | MS_NODEV)
    mount("dev", root + "/dev", "tmpfs", MS_NOSUID, "mode=755")
    for name in ("null", "zero", "random", "urandom"):
        with open(f"{root}/dev/{name}", "w", encoding="utf-8"):
            pass
        mount("/dev/" + name, f"{root}/dev/{name}", "", MS_BIND)
    mount("", root, "", MS_REMOUNT | MS_BIND | MS_RDONLY)
    os.chdir(root)
    call(libc.syscall, SYS_PIVOT_ROOT[os.uname().machine], b".", b".")
    call(libc.umount2, b".", MNT_DETACH)
    os.chdir("/")


def keep(names):
    """No capability but these, for this process and whatever it runs."""
    kept = {CAPABILITIES[name] for name in names}
    with open("/proc/sys/kernel/cap_last_cap", encoding="utf-8") as file:
        last = int(file.read())
    for number in range(last + 1):
        if number not in kept:
            call(libc.prctl, PR_CAPBSET_DROP, *map(ctypes.c_ulong, (number, 0, 0, 0)))
    bits = sum(1 << number for number in kept)
    low, high = bits & 0xFFFFFFFF, bits >> 32
    call(libc.capset, struct.pack("=Ii", CAPABILITY_VERSION, 0),
         struct.pack("=6I", low, low, 0, high, high, 0))
    call(libc.prctl, PR_SET_NO_NEW_PRIVS, *map(ctypes.c_ulong, (1, 0, 0, 0)))


def main():
    parser = argparse.ArgumentParser(usage=__doc__.rsplit("usage: ", 1)[1])
    parser.add_argument("root")
    parser.add_argument("--volume", action="append", default=[])
    parser.add_argument("--capabilities", default="")
    words = sys.argv[1:]
    end = words.index("--") if "--" in words else len(words)
    options = parser.parse_args(words[:end])
    with open(options.root + ".json", encoding="utf-8") as file:
        config = json.load(file)["config"]
    command = words[end + 1:] or config["Entrypoint"] + config["Cmd"]
    environment = dict(each.split("=", 1) for each in config["Env"])
    enter(options.root, [each.split(":") for each in options.volume])
    keep([name for name in options.capabilities.split(",") if name])
    os.execve(command[0], command, environment)


if __name__ == "__main__":
    main()
