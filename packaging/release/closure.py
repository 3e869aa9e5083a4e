# SPDX-License-Identifier: MIT
"""What programs need to run by themselves: the libraries that they name, those that these name, and the
loader, out of the root of a Debian, and whose package each of them is."""

import dataclasses
import os
import pathlib
import re
import subprocess

# The daemon and mvrpctl open it by its name, when the first capture is read.
OPENED_BY_NAME = ("libpcap.so.0.8",)


@dataclasses.dataclass(frozen=True)
class Package:
    """A package of Debian that something was taken from."""
    name: str
    version: str
    architecture: str


def elf_needs(path):
    """@return (libraries that a file names, its loader or None)"""
    text = subprocess.run(["readelf", "-dlW", path], check=True, capture_output=True, text=True,
                          env={**os.environ, "LC_ALL": "C"}).stdout
    loader = re.search(r"Requesting program interpreter: (\S+)\]", text)
    return re.findall(r"\(NEEDED\).*\[(.*)\]", text), loader[1] if loader else None


class Root:
    """The root of a Debian with libraries of one processor."""

    def __init__(self, path, architecture):
        self.path = pathlib.Path(path)
        self.architecture = architecture
        command = ["dpkg-architecture", "-f", "-a" + architecture, "-qDEB_HOST_MULTIARCH"]
        self.triplet = subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()
        self.owners = self._owners()
        self.versions = self._versions()

    def _owners(self):
        """Path without a leading slash and without usr/ -> name of its package."""
        owners = {}
        for path in sorted((self.path / "var/lib/dpkg/info").glob("*.list")):
            name, _, architecture = path.stem.partition(":")
            if architecture in ("", self.architecture):
                for line in path.read_text(encoding="utf-8").splitlines():
                    owners[line.lstrip("/").removeprefix("usr/")] = name
        return owners

    def _versions(self):
        versions = {}
        for stanza in (self.path / "var/lib/dpkg/status").read_text(encoding="utf-8").split("\n\n"):
            fields = dict(re.findall(r"^([A-Za-z-]+): (.*)$", stanza, re.MULTILINE))
            if fields.get("Architecture") in ("all", self.architecture):
                name = fields["Package"]
                versions[name] = Package(name, fields["Version"], fields["Architecture"])
        return versions

    def resolve(self, place):
        """A path below the root, with its links followed as they are meant inside. @return it, relative"""
        parts, done = list(pathlib.PurePosixPath(place).parts), pathlib.PurePosixPath()
        while parts:
            part = parts.pop(0)
            if part in ("/", "."):
                continue
            if part == "..":
                done = done.parent
                continue
            here = self.path / done / part
            if here.is_symlink():
                target = pathlib.PurePosixPath(os.readlink(here))
                if target.is_absolute():
                    done = pathlib.PurePosixPath()
                parts = list(target.parts) + parts
            else:
                done = done / part
        return str(done)

    def file(self, place):
        return self.path / self.resolve(place)

    def find(self, name):
        """@return where a library lies, as the loader looks for it"""
        for folder in (f"usr/lib/{self.triplet}", "usr/lib"):
            if self.file(f"{folder}/{name}").is_file():
                return f"{folder}/{name}"
        raise SystemExit(f"image: no package in {self.path} has {name} for {self.architecture}")

    def owner(self, place):
        """@return the Package of a file; of a link, that of what it leads to"""
        for each in (place, self.resolve(place)):
            name = self.owners.get(each.removeprefix("usr/"))
            if name is not None:
                return self.versions[name]
        raise SystemExit(f"image: {place} belongs to no package")


def needed_by(root, programs):
    """@param programs paths @return {place in the image: place in the root} of libraries and loader"""
    found, waiting = {}, list(OPENED_BY_NAME)

    def take(path):
        needs, loader = elf_needs(path)
        waiting.extend(needs)
        if loader is not None:
            place = loader.lstrip("/")
            found["usr/" + place.removeprefix("usr/")] = place

    for program in programs:
        take(program)
    while waiting:
        name = waiting.pop()
        if name.startswith("ld-linux"):  # the loader, which is there already when it looks for it
            continue
        place = root.find(name)
        if place not in found:
            found[place] = place
            take(root.file(place))
    return found
