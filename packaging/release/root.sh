# shellcheck shell=bash
# SPDX-License-Identifier: MIT
#
# The system that packages are built in: a Debian of its own, with the libraries of each processor beside
# each other, so that what this machine has installed decides nothing. Sourced by run.sh, as root, beside in_root.sh.

suite=bookworm
mirror=${MVRP_CROSS_MIRROR:-}  # nothing: that which mmdebstrap takes
native=$(dpkg --print-architecture)
allArchitectures=(amd64 arm64 armhf)
buildTools=(ccache cmake debhelper dh-apparmor ninja-build libcli11-dev nlohmann-json3-dev)
# Of each processor, by what debian/control asks for.
libraries=(libarchive-dev libcap-ng-dev libedit-dev libmicrohttpd-dev libmnl-dev libpcap-dev libtomlplusplus-dev
    pkg-config)
root=${MVRP_CROSS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/mvrp-cross}/packages

# makeRoot: once; what it was made of stands in it.
makeRoot() {
    local stamp architecture library wanted=("${buildTools[@]}") architectures=("$native")
    for architecture in "${allArchitectures[@]}"; do
        for library in "${libraries[@]}"; do wanted+=("$library:$architecture"); done
        [[ $architecture != "$native" ]] || continue
        architectures+=("$architecture")
        wanted+=("g++-$(triplet "$architecture" | tr _ -)")
    done
    stamp="$suite $mirror ${wanted[*]}"
    [[ $(cat "$root/.made-of" 2>/dev/null) != "$stamp" ]] || return 0
    echo "== A system to build in, in $root"
    rm -rf "$root"
    mkdir -p "$(dirname "$root")"
    mmdebstrap --quiet --variant=buildd --architectures="$(IFS=, && echo "${architectures[*]}")" \
        --include="$(IFS=, && echo "${wanted[*]}")" "$suite" "$root" ${mirror:+"deb $mirror $suite main"}
    mkdir -p "$root/build" "$root/ccache"
    echo "$stamp" >"$root/.made-of"
}

triplet() { dpkg-architecture -f -a"$1" -qDEB_HOST_GNU_TYPE 2>/dev/null; }
