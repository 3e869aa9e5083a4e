#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Packages for several processors, and an image of them, from the committed tree: ./dev package --help. Prints
# a line for each thing looked at, and at the end "N passed, N failed".
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
cd "$here/../.."
# shellcheck source=packaging/release/root.sh
source "$here/root.sh"
# shellcheck source=packaging/release/in_root.sh
source "$here/in_root.sh"

die() {
    printf 'package: %s\n' "$*" >&2
    exit 2
}

architectures=() twice='' image=''
readArguments() {
    local allowed="${allArchitectures[*]}"
    while (($#)); do
        case $1 in
            --all) architectures=("${allArchitectures[@]}") ;;
            --arch)
                [[ " $allowed " == *" ${2:-} "* ]] || die "there is no package for '${2:-}'; allowed for --arch: $allowed"
                architectures+=("$2")
                shift
                ;;
            --twice) twice=yes ;;
            --image) image=yes ;;
            *) die "'$1' does not go with the others; allowed beside --all or --arch ARCH: --twice, --image" ;;
        esac
        shift
    done
    ((${#architectures[@]})) || die "for which processor? allowed: --all, or --arch with one of: $allowed"
}

passed=0 failed=0
# expect TEXT COMMAND...
expect() {
    local text=$1 log
    shift
    if log=$("$@" 2>&1); then
        passed=$((passed + 1))
        printf '  ok      %s\n' "$text"
    else
        failed=$((failed + 1))
        printf '  FAILED  %s\n%s\n' "$text" "$log"
    fi
}

# ---------------------------------------------------------------------------------------- packages
# build ARCHITECTURE PLACE [NAME=VALUE...]: the package, in out/packages/scratch/PLACE.
build() {
    local architecture=$1 place=$2 source=$scratch/$2/mvrp-$version profiles=nocheck log=$logs/package-${2//\//-}.log
    shift 2
    [[ $architecture == "$native" ]] || profiles=cross,nocheck
    rm -rf "${scratch:?}/$place"
    mkdir -p "$source"
    git archive HEAD | tar -x -C "$source"
    cp -r "$source/packaging/debian" "$source/debian"
    if ! inRoot "$PWD/$scratch" "$@" DEB_BUILD_OPTIONS="parallel=$jobs nocheck" bash -c "cd /build/$place/mvrp-$version &&
        dpkg-buildpackage -us -uc -b --host-arch=$architecture --build-profiles=$profiles" >"$log" 2>&1; then
        tail -n 40 "$log"
        die "the package was not built; the whole output is in $log"
    fi
    rm -rf "$source"
}

isFor() { [[ $(dpkg-deb -f "$2" Architecture) == "$1" ]]; }

# symbolsApart ARCHITECTURE: the programs have none, and the package of symbols has those of these very programs.
symbolsApart() {
    local place=$scratch/symbols id
    rm -rf "$place"
    mkdir -p "$place"
    dpkg-deb -x "$top/mvrp_${version}_$1.deb" "$place/programs"
    dpkg-deb -x "$top/mvrp-dbgsym_${version}_$1.deb" "$place/symbols"
    id=$(readelf -n "$place/programs/usr/sbin/mvrp" | sed -nE 's/.*Build ID: (..)(.*)/\1\/\2/p')
    [[ -n $id && -s $place/symbols/usr/lib/debug/.build-id/$id.debug ]] || return 1
    ! readelf -SW "$place/programs/usr/sbin/mvrp" | grep -q '\.symtab'
}

sameBytes() {
    local file
    for file in "$scratch/first/$1"/*.deb; do
        cmp "$file" "$scratch/elsewhere/and/deeper/$1/$(basename "$file")" || return 1
    done
}

package() {
    local architecture=$1
    printf '== mvrp %s for %s\n' "$version" "$architecture"
    build "$architecture" "first/$architecture" LC_ALL=C.UTF-8 TZ=UTC HOME=/nonexistent
    cp "$scratch/first/$architecture"/*.deb "$top"
    expect "$architecture: lintian finds nothing" \
        lintian --fail-on error,warning --tag-display-limit 0 "$scratch/first/$architecture"/*.changes
    expect "$architecture: the package says so" isFor "$architecture" "$top/mvrp_${version}_$architecture.deb"
    expect "$architecture: debug symbols are apart" symbolsApart "$architecture"
    [[ -n $twice ]] || return 0
    build "$architecture" "elsewhere/and/deeper/$architecture" \
        LC_ALL=C TZ=Asia/Kathmandu HOME=/build CCACHE_DISABLE=1
    expect "$architecture: built twice, byte by byte the same" sameBytes "$architecture"
}

# ----------------------------------------------------------------------------------------- image
makeImage() { # DIRECTORY
    local debs=() architecture
    for architecture in "${architectures[@]}"; do debs+=("$top/mvrp_${version}_$architecture.deb"); done
    python3 "$here/image.py" --root "$root" --revision "$(git rev-parse HEAD)" --out "$1" "${debs[@]}"
}

sameImages() { diff -r "$scratch/image" "$scratch/image-again"; }

# emulated ARCHITECTURE: each program begins, under an emulator, with what the image holds and nothing else.
emulated() {
    local processor program place=$scratch/emulated
    case $1 in
        amd64) processor=x86_64 ;;
        arm64) processor=aarch64 ;;
        armhf) processor=arm ;;
    esac
    rm -rf "$place"
    python3 "$here/layout.py" "$archive" "$1" "$place" || return 1
    for program in sbin/mvrp bin/mvrpctl bin/mvrp-net bin/mvrp-plan libexec/mvrp/mvrp-exporter; do
        "qemu-$processor-static" -L "$place" "$place/usr/$program" --version | grep "$version" || return 1
    done
}

image() {
    local architecture
    printf '== An image\n'
    makeImage "$scratch/image"
    makeImage "$scratch/image-again"
    cp "$scratch/image"/* "$top"
    expect 'the image, made twice, is byte by byte the same' sameImages
    for architecture in "${architectures[@]}"; do
        expect "$architecture: the image holds what it should, and the list of it is true" \
            python3 "$here/check_image.py" "$archive" "$architecture" "$top/mvrp-$version-$architecture.spdx.json"
        if [[ $architecture == "$native" ]]; then
            tryImage
        else
            expect "$architecture: the programs of the image begin under an emulator" emulated "$architecture"
        fi
    done
}

# The script counts by itself.
tryImage() {
    local log=$logs/package-container.log good bad
    "$here/try_image.sh" "$archive" "$native" 2>&1 | tee "$log" | grep -E '^  |^NOT RUN' || true
    read -r good bad < <(sed -nE 's/^([0-9]+) passed, ([0-9]+) failed$/\1 \2/p' "$log"; echo 0 1)
    passed=$((passed + good)) failed=$((failed + bad))
}

readArguments "$@"
((EUID == 0)) || die 'only root can enter the system that packages are built in'
version=$(sed -nE '1s/.*\((.*)\).*/\1/p' packaging/debian/changelog)
jobs=${JOBS:-$(nproc)}
top=out/packages
scratch=$top/scratch
logs=out/log
archive=$top/mvrp-$version-oci.tar
rm -rf "$top"
mkdir -p "$scratch" "$logs"
makeRoot
for architecture in "${architectures[@]}"; do package "$architecture"; done
[[ -z $image ]] || image
rm -rf "$scratch"
git rev-parse HEAD >$top/commit
ls -l $top
printf '%d passed, %d failed\n' "$passed" "$failed"
((failed == 0))
