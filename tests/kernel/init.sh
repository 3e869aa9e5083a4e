#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# First process of the kernel that run.sh boots: makes the machine usable, runs cases until none is
# left, and switches it off. All scratch is in /run, in memory; logs go to $KERNEL_OUT.
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8
export KERNEL_TESTS KERNEL_BUILD KERNEL_OUT KERNEL_CORRECTIONS KERNEL_QUICK

powerOff() {
    echo o >/proc/sysrq-trigger
    sleep 10
}
trap powerOff EXIT

mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t tmpfs run /run
mkdir -p /run/root/lib /run/netns

# Modules are where the package puts them, which is not where modprobe looks.
ln -s /usr/lib/uml/modules /run/root/lib/modules
printf '#!/bin/sh\nexec /sbin/modprobe -d /run/root "$@"\n' >/run/modprobe
chmod +x /run/modprobe
echo /run/modprobe >/proc/sys/kernel/modprobe
/run/modprobe -a llc stp garp mrp bridge 8021q veth bonding sch_ingress cls_flower act_gact

# Quiet wires: no frames but those that a case makes. Namespaces take this over.
sysctl -qw net.core.devconf_inherit_init_net=1 net.ipv6.conf.all.disable_ipv6=1 \
    net.ipv6.conf.default.disable_ipv6=1 2>/dev/null
ip link set lo up

# runCase NAME SECONDS: runs one case in a machine without traces of another.
runCase() {
    local name=$1 limit=$2 log=$KERNEL_OUT/$1.log begin=$SECONDS status=0
    mkdir -p /run/case
    : >"$log"
    if [[ -n $KERNEL_VERBOSE ]]; then tail -n +1 -f "$log" | sed -u 's/^/  | /' & fi
    timeout --kill-after=5 "$limit" "$KERNEL_TESTS/case.sh" "$name" >>"$log" 2>&1 </dev/null ||
        status=$?
    if [[ -n $KERNEL_VERBOSE ]]; then sleep 1.5; fi
    kill -9 -1 2>/dev/null # everybody but this process
    wait
    ip -all netns delete 2>/dev/null
    rm -rf /run/case
    if ((status == 0)); then
        touch "$KERNEL_OUT/$name.passed"
        printf 'pass %s (%d s)\n' "$name" $((SECONDS - begin))
    else
        ((status == 124)) && echo "not finished within $limit s" >>"$log"
        printf 'FAIL %s (%d s)\n' "$name" $((SECONDS - begin))
    fi
}

while read -r name limit <&3; do
    mkdir "$KERNEL_OUT/claims/$name" 2>/dev/null || continue
    runCase "$name" "$limit"
done 3<"$KERNEL_OUT/cases"
