#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# root.sh SUITE FILE [PACKAGE...]: makes FILE, the disk of a Debian of that name with systemd as first process, the
# programs that own bridges, and what the packages named need. Kept, and made again only when that list
# or this script changes. As root, with Debian's archive at hand. Prints what is installed.
set -euo pipefail
suite=$1 image=$2
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")

megabytes=1500
include=(apparmor dbus ifupdown2 iproute2 kmod network-manager procps systemd-sysv udev "${@:3}")

print() { printf '  on the disk of %s: %s\n' "$suite" "${include[*]}"; }
mark=$(cat "${BASH_SOURCE[0]}" "$here"/inside/* <(printf '%s\n' "$suite" "${include[@]}") | sha256sum)
if [[ -s $image && -s $image.mark && $(<"$image.mark") == "$mark" ]]; then
    print
    exit
fi

print
mkdir -p "$(dirname "$image")"
tree=$(mktemp -d /var/tmp/mvrp-root.XXXXXX)
trap 'rm -rf "$tree"' EXIT
mmdebstrap --quiet --variant=minbase --include="$(IFS=, && echo "${include[*]}")" "$suite" "$tree/root"

# The kernel's own modules, where modprobe looks.
cp -a /usr/lib/uml/modules "$tree/root/usr/lib/modules"
cp "$here/inside/case.service" "$tree/root/etc/systemd/system/"
mkdir -p "$tree/root/host" "$tree/root/etc/systemd/system/multi-user.target.wants"
ln -s ../case.service "$tree/root/etc/systemd/system/multi-user.target.wants/case.service"
# A case says which of them is there.
for unit in networking NetworkManager NetworkManager-wait-online systemd-networkd; do
    systemctl --quiet --root="$tree/root" disable "$unit.service"
done
systemctl --quiet --root="$tree/root" mask systemd-firstboot.service proc-sys-fs-binfmt_misc.automount

rm -f "$image" "$image.mark"
truncate -s "${megabytes}M" "$image"
mke2fs -q -t ext4 -d "$tree/root" "$image"
printf '%s\n' "$mark" >"$image.mark"
