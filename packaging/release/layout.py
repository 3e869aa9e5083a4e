#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""An archive in the form of an OCI image layout: written so that the same content gives the same bytes, and
read with every digest looked at.

usage: layout.py ARCHIVE ARCHITECTURE DIRECTORY

unpacks the file system of one image, and its configuration into DIRECTORY.json."""

import gzip
import hashlib
import io
import json
import pathlib
import sys
import tarfile

INDEX = "application/vnd.oci.image.index.v1+json"
MANIFEST = "application/vnd.oci.image.manifest.v1+json"
CONFIG = "application/vnd.oci.image.config.v1+json"
LAYER = "application/vnd.oci.image.layer.v1.tar+gzip"
LAYOUT = b'{"imageLayoutVersion":"1.0.0"}'

# Debian's name of a processor -> OCI's.
PLATFORMS = {
    "amd64": {"architecture": "amd64", "os": "linux"},
    "arm64": {"architecture": "arm64", "os": "linux", "variant": "v8"},
    "armhf": {"architecture": "arm", "os": "linux", "variant": "v7"},
}


def digest_of(data):
    return "sha256:" + hashlib.sha256(data).hexdigest()


def packed(data):
    """gzip, without a name and a time of its own."""
    out = io.BytesIO()
    with gzip.GzipFile(filename="", mode="wb", fileobj=out, mtime=0, compresslevel=6) as stream:
        stream.write(data)
    return out.getvalue()


def text_of(value):
    return json.dumps(value, sort_keys=True, separators=(",", ":")).encode()


class Writer:
    """Blobs, and in the end the archive."""

    def __init__(self):
        self.blobs = {}

    def add(self, data, media_type, **more):
        """@return the descriptor of a blob"""
        digest = digest_of(data)
        self.blobs[digest] = data
        return {"mediaType": media_type, "digest": digest, "size": len(data), **more}

    def add_image(self, layer, config, architecture):
        """@param layer a tar archive @return the descriptor of its manifest"""
        rootfs = {"type": "layers", "diff_ids": [digest_of(layer)]}
        config = dict(config, rootfs=rootfs, **PLATFORMS[architecture])
        manifest = {"schemaVersion": 2, "mediaType": MANIFEST, "config": self.add(text_of(config), CONFIG),
                    "layers": [self.add(packed(layer), LAYER)]}
        return self.add(text_of(manifest), MANIFEST, platform=PLATFORMS[architecture])

    def save(self, path, manifests, name, time):
        """@param name what a tool that reads the archive calls the image @param time of all members"""
        index = self.add(text_of({"schemaVersion": 2, "mediaType": INDEX, "manifests": manifests}), INDEX,
                         annotations={"org.opencontainers.image.ref.name": name})
        files = {"oci-layout": LAYOUT,
                 "index.json": text_of({"schemaVersion": 2, "mediaType": INDEX, "manifests": [index]})}
        for digest, data in self.blobs.items():
            files["blobs/" + digest.replace(":", "/")] = data
        with tarfile.open(path, "w", format=tarfile.USTAR_FORMAT) as archive:
            for directory in ("blobs", "blobs/sha256"):
                archive.addfile(member(directory, time, kind=tarfile.DIRTYPE, mode=0o755))
            for place in sorted(files):
                archive.addfile(member(place, time, size=len(files[place])), io.BytesIO(files[place]))


def member(name, time, kind=tarfile.REGTYPE, mode=0o644, size=0):
    """A member of an archive, of root."""
    info = tarfile.TarInfo(name)
    info.type, info.mode, info.size, info.mtime = kind, mode, size, time
    return info


class Broken(Exception):
    """What is wrong with an archive."""


class Reader:
    """The images of an archive. Raises Broken where a part is missing, or is not what its digest says."""

    def __init__(self, path):
        self.files = {}
        with tarfile.open(path) as archive:
            for info in archive:
                if info.isfile():
                    self.files[info.name] = archive.extractfile(info).read()
        if self.files.get("oci-layout") != LAYOUT:
            raise Broken("oci-layout is missing, or of another version")
        self.used = {"oci-layout", "index.json"}
        outer = json.loads(self.files["index.json"])["manifests"]
        if len(outer) != 1 or outer[0]["mediaType"] != INDEX:
            raise Broken("index.json does not name one index of images")
        self.name = outer[0]["annotations"]["org.opencontainers.image.ref.name"]
        self.manifests = json.loads(self.blob(outer[0]))["manifests"]

    def blob(self, descriptor):
        place = "blobs/" + descriptor["digest"].replace(":", "/")
        data = self.files.get(place)
        if data is None:
            raise Broken(f"{place} is missing")
        if digest_of(data) != descriptor["digest"] or len(data) != descriptor["size"]:
            raise Broken(f"{place} is not what its name or its size says")
        self.used.add(place)
        return data

    def image(self, architecture):
        """@return configuration and layer, a tar archive, of the image for one processor"""
        for descriptor in self.manifests:
            if descriptor["platform"] == PLATFORMS[architecture]:
                break
        else:
            raise Broken(f"there is no image for {architecture}")
        manifest = json.loads(self.blob(descriptor))
        config = json.loads(self.blob(manifest["config"]))
        layers = [gzip.decompress(self.blob(layer)) for layer in manifest["layers"]]
        if config["rootfs"]["diff_ids"] != [digest_of(layer) for layer in layers] or len(layers) != 1:
            raise Broken("the layers are not those of the configuration")
        return config, layers[0]

    def unused(self):
        """Files that nothing named, when all images were read."""
        return sorted(set(self.files) - self.used)


def main():
    archive, architecture, directory = sys.argv[1:]
    config, layer = Reader(archive).image(architecture)
    pathlib.Path(directory).mkdir(parents=True)
    pathlib.Path(directory + ".json").write_bytes(text_of(config))
    with tarfile.open(fileobj=io.BytesIO(layer)) as content:
        content.extractall(directory, numeric_owner=True)


if __name__ == "__main__":
    main()
