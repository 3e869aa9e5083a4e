# SPDX-License-Identifier: MIT
"""A list of what an image holds, as SPDX 2.3 in JSON."""

import datetime
import hashlib
import re

# Libraries that are headers only, and so are in the programs: Debian's package.
COMPILED_IN = ("libcli11-dev", "libtomlplusplus-dev", "nlohmann-json3-dev")
DOCUMENT = "SPDXRef-DOCUMENT"


def time_of(epoch):
    return datetime.datetime.fromtimestamp(epoch, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")


def name_of(kind, text):
    """An identifier: letters, digits and dots; others as their number, so that no two are the same."""
    return f"SPDXRef-{kind}-" + re.sub(r"[^A-Za-z0-9.]", lambda found: f"-{ord(found[0]):x}-", text)


def debian_package(package):
    return {
        "SPDXID": name_of("Package", package.name), "name": package.name, "versionInfo": package.version,
        "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION", "copyrightText": "NOASSERTION",
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
            "referenceLocator": f"pkg:deb/debian/{package.name.replace('+', '%2B')}@"
                                f"{package.version.replace('+', '%2B')}?arch={package.architecture}",
        }],
    }


def sums(data):
    return [{"algorithm": "SHA1", "checksumValue": hashlib.sha1(data).hexdigest()},
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(data).hexdigest()}]


def file_entry(place, data, comment):
    return {"SPDXID": name_of("File", place), "fileName": "./" + place, "checksums": sums(data),
            "licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION", "comment": comment}


def verification(files):
    """The code of a package: the SHA1 of the SHA1s of its files, in order."""
    codes = sorted(entry["checksums"][0]["checksumValue"] for entry in files)
    return hashlib.sha1("".join(codes).encode()).hexdigest()


def relation(one, kind, other):
    return {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}


def document(version, architecture, epoch, contents, packages, compiled_in):
    """@param contents {place: (bytes, what it is of)} @param packages of Debian, whose files are inside
    @param compiled_in packages of Debian, whose headers are in the programs"""
    files = [file_entry(place, *contents[place]) for place in sorted(contents)]
    code = verification(files)
    image = {
        "SPDXID": "SPDXRef-Image", "name": f"mvrp-image-{architecture}", "versionInfo": version,
        "downloadLocation": "NOASSERTION", "filesAnalyzed": True, "primaryPackagePurpose": "CONTAINER",
        "packageVerificationCode": {"packageVerificationCodeValue": code},
        "licenseConcluded": "NOASSERTION", "licenseDeclared": "NOASSERTION", "copyrightText": "NOASSERTION",
    }
    own = {
        "SPDXID": "SPDXRef-Package-mvrp", "name": "mvrp", "versionInfo": version,
        "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
        "licenseConcluded": "MIT", "licenseDeclared": "MIT",
        "copyrightText": "2026 the mvrp authors", "primaryPackagePurpose": "APPLICATION",
    }
    libraries = [debian_package(package) for package in packages]
    headers = [debian_package(package) for package in compiled_in]
    return {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": DOCUMENT,
        "name": f"mvrp-{version}-{architecture}",
        "documentNamespace": f"https://example.org/spdx/mvrp-{version}-{architecture}-{code}",
        "creationInfo": {"created": time_of(epoch), "creators": ["Organization: The mvrp developers",
                                                                 "Tool: mvrp-image"]},
        "packages": [image, own, *libraries, *headers],
        "files": files,
        "relationships": [
            relation(DOCUMENT, "DESCRIBES", image["SPDXID"]),
            relation(image["SPDXID"], "CONTAINS", own["SPDXID"]),
            *(relation(image["SPDXID"], "CONTAINS", each["SPDXID"]) for each in libraries),
            *(relation(own["SPDXID"], "STATIC_LINK", each["SPDXID"]) for each in headers),
            *(relation(image["SPDXID"], "CONTAINS", each["SPDXID"]) for each in files),
        ],
    }
