#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the Debian package from the committed tree into out/package/, checks it with lintian, and, with
# --try, installs it into a copy of this machine's root, looks at what is there, and removes it again
# (as root). With --test it does the same as a test: where something is missing for it, it says what and
# ends well, and the last line reads "N passed, N failed". For other processors: release/run.sh.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

case " $* " in
    *' --all '* | *' --arch '* | *' --image '* | *' --twice '*) exec packaging/release/run.sh "$@" ;;
esac
try=false
case ${1:-} in
    '') ;;
    --try) try=true ;;
    --test)
        try=true
        missing=''
        for program in dpkg-buildpackage dh dh_apparmor lintian ninja cmake; do
            command -v $program >/dev/null || missing="$program is not installed"
        done
        ((EUID == 0)) || missing='only root can mount a root to install into'
        if ((EUID == 0)) && ! unshare -m true 2>/dev/null; then
            missing='this machine gives no mount namespaces'
        fi
        if [[ -n $missing ]]; then
            printf 'NOT RUN: the package: %s\n0 passed, 0 failed\n' "$missing"
            exit 0
        fi
        ;;
    *)
        echo "package: '$1' is not known; allowed: --try, --test, or --all, --arch ARCH, --twice, --image" >&2
        exit 2
        ;;
esac
# The helpers build with a home of their own, which has no cache.
if command -v ccache >/dev/null; then
    CCACHE_DIR=${CCACHE_DIR:-$(ccache --get-config cache_dir)}
    export CCACHE_DIR
fi

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
git rev-parse HEAD >$top/commit

echo "== lintian"
lintian --fail-on error,warning --tag-display-limit 0 "$top"/*.changes
ls -l "$top"/*.deb

if $try; then packaging/try_package.sh "$top"/mvrp_*.deb; fi
