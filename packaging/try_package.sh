#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Installs the package into a copy of this machine's root that only this script sees (an overlay in a mount
# namespace of its own), tries what it brought, removes and purges it, and looks for what is left. As root.
# Prints a line for each thing looked at, and at the end "N passed, N failed".
set -euo pipefail
package=$(readlink -f "$1")
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")

if [[ -z ${MVRP_TRY_ROOT:-} ]]; then
    MVRP_TRY_ROOT=$(mktemp -d) exec unshare -m --propagation private "$here/$(basename "$0")" "$package"
fi

root=$MVRP_TRY_ROOT/root
mount -t tmpfs -o size=1g try "$MVRP_TRY_ROOT"
mkdir "$MVRP_TRY_ROOT"/{root,upper,work}
mount -t overlay -o "lowerdir=/,upperdir=$MVRP_TRY_ROOT/upper,workdir=$MVRP_TRY_ROOT/work" try "$root"
mount -t proc proc "$root/proc"
mount --rbind /dev "$root/dev"
mount -t tmpfs run "$root/run"
mount -t tmpfs tmp "$root/tmp"
cp "$package" "$root/tmp/mvrp.deb"
# Nothing starts in there.
printf '#!/bin/sh\nexit 101\n' > "$root/usr/sbin/policy-rc.d"
chmod +x "$root/usr/sbin/policy-rc.d"
trap 'cd /; umount -R "$MVRP_TRY_ROOT" 2>/dev/null || umount -lR "$MVRP_TRY_ROOT"; rmdir "$MVRP_TRY_ROOT"' EXIT

passed=0 failed=0
# expect TEXT COMMAND...: the command succeeds inside.
expect() {
    local text=$1 log
    shift
    if log=$(chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root "$@" 2>&1); then
        passed=$((passed + 1))
        printf '  ok      %s\n' "$text"
    else
        failed=$((failed + 1))
        printf '  FAILED  %s\n%s\n' "$text" "$log"
    fi
}

expect 'it installs, with what it depends on' \
    apt-get install -y -q --no-install-recommends /tmp/mvrp.deb
expect 'its user is there' getent passwd mvrp
expect 'the default configuration is right' mvrp --check
expect 'mvrpctl runs' mvrpctl --version
expect 'mvrp-plan plans' mvrp-plan --shape line --switches 2 --rest 0
# Optimised, without assertions and without symbols: a symbol table is a section of this name.
for program in /usr/sbin/mvrp /usr/bin/mvrpctl /usr/bin/mvrp-net /usr/bin/mvrp-plan; do
    expect "$program is stripped" bash -c "! grep -qa '\.symtab' $program"
    expect "$program was built for use, without assertions" bash -c "! grep -qa '__assert_fail' $program"
done
# shellcheck disable=SC2016  # the inner shell's
expect 'metrics are served, by the program beside it' bash -c '
    install -d -o mvrp /run/metrics
    export MVRP_RUNTIME_DIR=/run/metrics
    printf "[metrics]\nlisten = \"127.9.6.20:9620\"\n" >/tmp/metrics.toml
    mvrp --config /tmp/metrics.toml >/tmp/log 2>&1 & daemon=$!
    for _ in $(seq 300); do
        exec 3<>/dev/tcp/127.9.6.20/9620 && break
        sleep 0.1
    done
    printf "GET /metrics HTTP/1.0\r\n\r\n" >&3
    grep -q "^mvrp_enabled" <&3; found=$?
    kill "$daemon"
    exit "$found"'
expect 'guides with their pictures' test -s /usr/share/doc/mvrp/problems.md -a -s /usr/share/doc/mvrp/pictures/timers.svg
expect 'schemas' test -s /usr/share/mvrp/schema/ports.schema.json
expect 'alert rules and a dashboard' test -s /usr/share/doc/mvrp/examples/monitoring/mvrp.rules.yml
# shellcheck disable=SC2016  # the inner shell's
expect 'examples for the programs that own bridges' bash -c '
    cd /usr/share/doc/mvrp/examples/integration
    test -s README.md -a -x networkmanager/etc/NetworkManager/dispatcher.d/50-mvrp
    for file in */etc/mvrp/*.toml; do mvrp --check --config "$file"; done'
for page in 'mvrp.8' 'mvrpctl.8' 'mvrp-net.8' 'mvrp-plan.8'; do
    expect "manual page $page" test -s "/usr/share/man/man8/$page.gz"
done
expect 'manual page mvrp.toml.5' test -s /usr/share/man/man5/mvrp.toml.5.gz
expect 'manual page mvrp.7' test -s /usr/share/man/man7/mvrp.7.gz
for program in mvrp mvrpctl mvrp-net mvrp-plan; do
    expect "completion of $program for bash" test -s "/usr/share/bash-completion/completions/$program"
    expect "completion of $program for fish" test -s "/usr/share/fish/vendor_completions.d/$program.fish"
done
expect 'completion for zsh' test -s /usr/share/zsh/vendor-completions/_mvrpctl -a -s /usr/share/zsh/vendor-completions/_mvrp
expect 'the AppArmor profile' apparmor_parser --skip-kernel-load --skip-cache /etc/apparmor.d/mvrp
expect 'the unit' test -s /lib/systemd/system/mvrp.service
# shellcheck disable=SC2016  # the inner shell's
expect 'the unit for several bridges, which names the main one nowhere' bash -c '
    unit=/lib/systemd/system/mvrp@.service
    grep -q "/etc/mvrp/%i.toml" "$unit" && ! grep -qE "/run/mvrp$|mvrp\.toml|=mvrp$" <(grep -v "^User=" "$unit")'
# shellcheck disable=SC2016  # the inner shell's
expect 'the daemon starts with the default configuration, and mvrpctl finds it' bash -c '
    install -d -o mvrp /run/try
    export MVRP_RUNTIME_DIR=/run/try
    mvrp >/tmp/log 2>&1 & daemon=$!
    for _ in $(seq 300); do
        mvrpctl show && break
        sleep 0.1
    done
    mvrpctl show; status=$?
    kill $daemon && wait $daemon || { cat /tmp/log; exit 1; }
    exit $status'
# shellcheck disable=SC2016  # the inner shell's
expect 'a changed configuration stays over a removal' bash -c '
    echo "# mine" >> /etc/mvrp/mvrp.toml && apt-get remove -y -q mvrp && grep -q mine /etc/mvrp/mvrp.toml'
expect 'the programs are gone' bash -c '! command -v mvrp && ! command -v mvrpctl && ! command -v mvrp-plan'
expect 'there is what a service writes' bash -c '
    mkdir -p /var/lib/mvrp/br0 /run/mvrp /run/mvrp-br0 && touch /var/lib/mvrp/settings /run/mvrp/ledger /run/mvrp-br0/ledger'
expect 'it purges' apt-get purge -y -q mvrp
# shellcheck disable=SC2016  # the inner shell's
expect 'nothing of it is left' bash -c '
    left=$(find /etc/mvrp /etc/apparmor.d/mvrp /etc/apparmor.d/local/mvrp /lib/systemd/system/mvrp* /usr/share/man/man*/mvrp* /usr/share/doc/mvrp \
        /usr/share/bash-completion/completions/mvrpctl /var/lib/dpkg/info/mvrp.* \
        /var/lib/mvrp /run/mvrp* 2>/dev/null)
    echo "$left"; [[ -z $left ]]'

printf '%d passed, %d failed\n' "$passed" "$failed"
((failed == 0))
