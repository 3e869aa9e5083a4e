#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes an OCI image from packages, one for each processor, and a list of what is inside. Nothing of it runs:
no daemon, no script of a package. The programs come from the package, the libraries that they need from a
root that has them; no shell and no package manager goes along.

usage: image.py --root ROOT --revision COMMIT --out DIRECTORY PACKAGE.deb..."""

import argparse
import dataclasses
import io
import json
import pathlib
import subprocess
import tarfile
import tempfile

import closure
import layout
import spdx

PROGRAMS = ("usr/bin/mvrp-net", "usr/bin/mvrp-plan", "usr/bin/mvrpctl", "usr/libexec/mvrp/mvrp-exporter",
            "usr/sbin/mvrp")
BESIDE = ("etc/mvrp/mvrp.toml", "usr/share/doc/mvrp/copyright")
# What a line editor has to know of the terminals that people use.
TERMINALS = tuple(f"lib/terminfo/{name[0]}/{name}"
                  for name in ("linux", "screen", "tmux-256color", "vt100", "xterm", "xterm-256color"))

# Of the image alone, so any that no system gives to somebody else.
USER = 9620
READERS = 9621
PASSWD = f"root:x:0:0:root:/:/sbin/nologin\nmvrp:x:{USER}:{USER}:VLAN registration:/run/mvrp:/sbin/nologin\n"
GROUP = f"root:x:0:\nmvrp:x:{USER}:\nmvrp-read:x:{READERS}:mvrp\n"
WRITTEN = {"etc/passwd": PASSWD, "etc/group": GROUP, "etc/nsswitch.conf": "passwd: files\ngroup: files\n"}

# Where a runtime mounts something, and what the daemon writes to: mode, owner.
DIRECTORIES = {"dev": (0o755, 0), "proc": (0o555, 0), "sys": (0o555, 0), "tmp": (0o1777, 0),
               "etc/mvrp/conf.d": (0o755, 0), "run/mvrp": (0o755, USER), "var/lib/mvrp": (0o750, USER)}
LINKS = {"bin": "usr/bin", "lib": "usr/lib", "sbin": "usr/sbin"}
VOLUMES = ("/etc/mvrp", "/run/mvrp", "/var/lib/mvrp")

# What a container has to be given, by what its configuration has it do.
LABELS = {
    "org.opencontainers.image.title": "mvrp",
    "org.opencontainers.image.description": "VLAN registration daemon (IEEE 802.1Q MVRP, GVRP)",
    "org.opencontainers.image.licenses": "MIT",
    "org.example.mvrp.capabilities.linux-bridge": "CAP_NET_ADMIN CAP_NET_RAW",
    "org.example.mvrp.capabilities.interface-cables": "CAP_NET_RAW",
    "org.example.mvrp.capabilities.software-switch": "",
    "org.example.mvrp.capabilities.to-leave-root": "CAP_SETGID CAP_SETPCAP CAP_SETUID",
    "org.example.mvrp.capabilities.command-group": "CAP_CHOWN",
}


@dataclasses.dataclass
class Entry:
    """A file of the image."""
    data: bytes
    mode: int
    of: str  # what it is from


def unpack(package, place):
    subprocess.run(["dpkg-deb", "-x", package, place], check=True)


def field(package, name):
    done = subprocess.run(["dpkg-deb", "-f", package, name], check=True, capture_output=True, text=True)
    return done.stdout.strip()


def time_of_package(package):
    """Seconds since 1970 of the newest thing inside, which dpkg-deb holds down to the changelog's time."""
    done = subprocess.run(["dpkg-deb", "--fsys-tarfile", package], check=True, capture_output=True)
    with tarfile.open(fileobj=io.BytesIO(done.stdout)) as content:
        return int(max(info.mtime for info in content))


def collect(root, unpacked):
    """@return ({place: Entry}, packages of Debian)"""
    entries, packages = {}, set()
    for place in PROGRAMS + BESIDE:
        mode = 0o755 if place in PROGRAMS else 0o644
        entries[place] = Entry((unpacked / place).read_bytes(), mode, "mvrp")
    for place, text in WRITTEN.items():
        entries[place] = Entry(text.encode(), 0o644, "written for the image")
    taken = closure.needed_by(root, [unpacked / place for place in PROGRAMS])
    taken.update(("usr/" + place, place) for place in TERMINALS)
    for place, source in taken.items():
        package = root.owner(source)
        packages.add(package)
        mode = 0o755 if "/ld-" in place else 0o644
        entries[place] = Entry(root.file(source).read_bytes(), mode, package.name)
    for package in packages:
        place = f"usr/share/doc/{package.name}/copyright"
        entries[place] = Entry(root.file(place).read_bytes(), 0o644, package.name)
    return entries, sorted(packages, key=lambda package: package.name)


def layer_of(entries, time):
    """@return a tar archive, in the order of names"""
    links = dict(LINKS)
    if any(place.startswith("usr/lib64/") for place in entries):
        links["lib64"] = "usr/lib64"
    directories = {}
    for place in [*entries, *(f"{name}/x" for name in DIRECTORIES)]:
        for parent in pathlib.PurePosixPath(place).parents:
            if str(parent) != ".":
                directories.setdefault(str(parent), (0o755, 0))
    directories.update(DIRECTORIES)
    out = io.BytesIO()
    with tarfile.open(fileobj=out, mode="w", format=tarfile.USTAR_FORMAT) as archive:
        for place in sorted([*entries, *directories, *links]):
            if place in entries:
                entry = entries[place]
                archive.addfile(layout.member(place, time, mode=entry.mode, size=len(entry.data)),
                                io.BytesIO(entry.data))
                continue
            if place in links:
                info = layout.member(place, time, kind=tarfile.SYMTYPE, mode=0o777)
                info.linkname = links[place]
            else:
                mode, owner = directories[place]
                info = layout.member(place, time, kind=tarfile.DIRTYPE, mode=mode)
                info.uid = info.gid = owner
            archive.addfile(info)
    return out.getvalue()


def config_of(version, revision, time):
    when = spdx.time_of(time)
    return {
        "created": when, "author": "The mvrp developers",
        "config": {
            "Entrypoint": ["/usr/sbin/mvrp"], "Cmd": ["--config", "/etc/mvrp/mvrp.toml"], "WorkingDir": "/",
            "Env": ["PATH=/usr/sbin:/usr/bin", "MVRP_RUNTIME_DIR=/run/mvrp"], "StopSignal": "SIGTERM",
            "Volumes": {place: {} for place in VOLUMES},
            "Labels": {**LABELS, "org.opencontainers.image.version": version,
                       "org.opencontainers.image.revision": revision},
        },
        "history": [{"created": when, "created_by": "image.py",
                     "comment": "programs, and the libraries they need"}],
    }


def main():
    parser = argparse.ArgumentParser(usage=__doc__.rsplit("usage: ", 1)[1])
    parser.add_argument("--root", required=True)
    parser.add_argument("--revision", required=True)
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("packages", nargs="+")
    options = parser.parse_args()
    options.out.mkdir(parents=True, exist_ok=True)
    writer, manifests, time, version = layout.Writer(), [], 0, ""
    for package in options.packages:
        version, architecture = field(package, "Version"), field(package, "Architecture")
        time = time_of_package(package)
        root = closure.Root(options.root, architecture)
        with tempfile.TemporaryDirectory() as directory:
            unpack(package, directory)
            entries, packages = collect(root, pathlib.Path(directory))
        manifests.append(writer.add_image(layer_of(entries, time), config_of(version, options.revision, time),
                                          architecture))
        listed = spdx.document(version, architecture, time,
                               {place: (entry.data, "of " + entry.of) for place, entry in entries.items()},
                               packages, [root.versions[name] for name in spdx.COMPILED_IN])
        (options.out / f"mvrp-{version}-{architecture}.spdx.json").write_text(
            json.dumps(listed, indent=1, sort_keys=True) + "\n", encoding="utf-8")
    writer.save(options.out / f"mvrp-{version}-oci.tar", manifests, version, time)


if __name__ == "__main__":
    main()
