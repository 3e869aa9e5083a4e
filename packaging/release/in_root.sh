# shellcheck shell=bash
# SPDX-License-Identifier: MIT
#
# A way into a system below $root, which is a Debian that was made to build in. Sourced, as root.
#
# shellcheck disable=SC2154  # root is of the script that sources it

# inRoot DIRECTORY [NAME=VALUE...] COMMAND...: runs a command in there, without a network but its own loopback; the
# directory is its /build.
inRoot() {
    local directory=$1 cache=''
    shift
    if command -v ccache >/dev/null; then
        cache=${CCACHE_DIR:-$(ccache --get-config cache_dir)}
        mkdir -p "$cache"
    fi
    # shellcheck disable=SC2016  # the inner shell's
    unshare --mount --net --pid --fork --kill-child --propagation private bash -euc '
        root=$1 directory=$2 cache=$3
        shift 3
        mount --bind "$directory" "$root/build"
        mount -t proc proc "$root/proc"
        mount -t tmpfs tmp "$root/tmp"
        mount --rbind /dev "$root/dev"
        ip link set lo up
        [[ -z $cache ]] || mount --bind "$cache" "$root/ccache"
        exec chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin CCACHE_DIR=/ccache "$@"
        ' inRoot "$root" "$directory" "$cache" "$@"
}
