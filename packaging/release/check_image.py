#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Looks at an image: that it holds the programs, what they need, and nothing beside it; that its
configuration says how to start it; that the list of what is inside names each file, as it is. Says everything
that is wrong.

usage: check_image.py ARCHIVE ARCHITECTURE LIST.spdx.json"""

import io
import json
import pathlib
import re
import sys
import tarfile
import tempfile

import closure
import image
import layout
import spdx

# Every file is one of these, or a library at one of the places where the loader looks.
ALLOWED = re.compile(r"etc/(group|mvrp/mvrp\.toml|nsswitch\.conf|passwd)|usr/lib/terminfo/[a-z]/[a-z0-9-]+|"
                     r"usr/share/doc/[a-z0-9.+-]+/copyright|usr/lib(64)?/ld-linux[a-z0-9.-]*|"
                     r"usr/lib/[a-z0-9_-]+/lib[A-Za-z0-9_+.-]+\.so\.[0-9.]+|" + "|".join(image.PROGRAMS))
MACHINES = {"amd64": "X86-64", "arm64": "AArch64", "armhf": "ARM"}
# What SPDX 2.3 asks of each part.
DOCUMENT_FIELDS = ("spdxVersion", "dataLicense", "SPDXID", "name", "documentNamespace", "creationInfo")
PACKAGE_FIELDS = ("SPDXID", "name", "downloadLocation")
IDENTIFIER = re.compile(r"SPDXRef-[A-Za-z0-9.-]+")


def wrong_members(members):
    """Places, owners and modes."""
    for name, info in members.items():
        if info.isfile() and not ALLOWED.fullmatch(name):
            yield f"{name}: does not belong into the image"
        if not (info.isfile() or info.isdir() or info.issym()):
            yield f"{name}: is neither a file, a directory nor a link"
        if info.mode & 0o6000 or (info.mode & 0o002 and not info.issym() and name != "tmp"):
            yield f"{name}: mode {info.mode:o}"
        if info.uid != 0 and name not in ("run/mvrp", "var/lib/mvrp"):
            yield f"{name}: belongs to {info.uid}"
    for name in image.PROGRAMS:
        if name not in members or not members[name].mode & 0o111:
            yield f"{name}: is missing, or no program"
    if list(members) != sorted(members):
        yield "the members are not in the order of their names"


def wrong_programs(contents, architecture, directory):
    """Programs and libraries for another processor, or that lack something; libraries that nobody needs."""
    elves = {name: data for name, data in contents.items() if data[:4] == b"\x7fELF"}
    names = {pathlib.PurePosixPath(name).name: name for name in elves}
    needed = set(image.PROGRAMS) | {names.get(name, name) for name in closure.OPENED_BY_NAME}
    for name, data in elves.items():
        path = pathlib.Path(directory) / "elf"
        path.write_bytes(data)
        if machine_of(data) != MACHINES[architecture]:
            yield f"{name}: is for {machine_of(data)}"
        needs, loader = closure.elf_needs(path)
        if loader is not None:
            needs.append(pathlib.PurePosixPath(loader).name)
        for each in needs:
            if each in names:
                needed.add(names[each])
            else:
                yield f"{name}: needs {each}, which is not there"
    yield from (f"{name}: nobody needs it" for name in sorted(set(elves) - needed))


def machine_of(data):
    order = "little" if data[5] == 1 else "big"
    number = int.from_bytes(data[18:20], order)
    return {62: "X86-64", 183: "AArch64", 40: "ARM"}.get(number, str(number))


def wrong_config(config):
    inner = config["config"]
    if inner["Entrypoint"] + inner["Cmd"] != ["/usr/sbin/mvrp", "--config", "/etc/mvrp/mvrp.toml"]:
        yield "the image starts something else"
    if "/etc/mvrp" not in inner["Volumes"]:
        yield "the configuration is no volume"
    if "CAP_NET_ADMIN" not in inner["Labels"].get("org.example.mvrp.capabilities.linux-bridge", ""):
        yield "the labels do not name the capabilities"
    if "MVRP_RUNTIME_DIR=/run/mvrp" not in inner["Env"]:
        yield "the sockets are not in /run/mvrp"


def wrong_list(listed, contents):
    """A list without what SPDX asks of it, or that says something else than the image holds."""
    yield from (f"list: no {name}" for name in DOCUMENT_FIELDS if name not in listed)
    if listed["spdxVersion"] != "SPDX-2.3" or listed["dataLicense"] != "CC0-1.0":
        yield "list: of another form"
    if not re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", listed["creationInfo"]["created"]):
        yield "list: the time is none"
    for package in listed["packages"]:
        yield from (f"list: {package.get('name')} has no {name}"
                    for name in PACKAGE_FIELDS if name not in package)
        if package["filesAnalyzed"] and "packageVerificationCode" not in package:
            yield f"list: {package['name']} has no packageVerificationCode"
    identifiers = [listed["SPDXID"]] + [each["SPDXID"] for each in listed["packages"] + listed["files"]]
    yield from (f"list: {name} is no identifier" for name in identifiers if not IDENTIFIER.fullmatch(name))
    if len(identifiers) != len(set(identifiers)):
        yield "list: two things have one identifier"
    for each in listed["relationships"]:
        if not {each["spdxElementId"], each["relatedSpdxElement"]} <= set(identifiers):
            yield f"list: {each} leads nowhere"
    files = {entry["fileName"].removeprefix("./"): entry["checksums"] for entry in listed["files"]}
    yield from (f"list: {name} is in one of list and image only"
                for name in sorted(set(files) ^ set(contents)))
    yield from (f"list: {name} is another" for name in sorted(set(files) & set(contents))
                if files[name] != spdx.sums(contents[name]))
    if listed["packages"][0]["packageVerificationCode"]["packageVerificationCodeValue"] != spdx.verification(
            listed["files"]):
        yield "list: the code of all files is another"


def problems(archive, architecture, list_path):
    reader = layout.Reader(archive)
    config, layer = reader.image(architecture)
    with tarfile.open(fileobj=io.BytesIO(layer)) as content:
        members = {info.name: info for info in content}
        contents = {name: content.extractfile(info).read() for name, info in members.items() if info.isfile()}
    yield from wrong_members(members)
    with tempfile.TemporaryDirectory() as directory:
        yield from wrong_programs(contents, architecture, directory)
    yield from wrong_config(config)
    yield from wrong_list(json.loads(pathlib.Path(list_path).read_text(encoding="utf-8")), contents)
    for descriptor in reader.manifests:
        for each, platform in layout.PLATFORMS.items():
            if platform == descriptor["platform"]:
                reader.image(each)
    yield from (f"{name}: nothing names it" for name in reader.unused())


def main():
    try:
        found = list(problems(*sys.argv[1:]))
    except layout.Broken as problem:
        found = [str(problem)]
    print("\n".join(found))
    sys.exit(bool(found))


if __name__ == "__main__":
    main()
