#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the Debian package from the committed tree into out/package/, checks it with lintian, and, with
# --try, installs it into a fresh root, looks at what is there, and removes it again (as root).
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

try=false
[[ ${1:-} == --try ]] && try=true

version=$(sed -nE '1s/.*\((.*)\).*/\1/p' packaging/debian/changelog)
top=out/package
source=$top/mvrp-$version
rm -rf "$top"
mkdir -p "$source"
git archive HEAD | tar -x -C "$source"
cp -r "$source/packaging/debian" "$source/debian"

echo "== Building mvrp $version"
(cd "$source" && dpkg-buildpackage -us -uc -b -d)
rm -rf "$source"

echo "== lintian"
lintian --fail-on error,warning --tag-display-limit 0 "$top"/*.changes
ls -l "$top"/*.deb

$try && packaging/try_package.sh "$top"/mvrp_*.deb
exit 0
