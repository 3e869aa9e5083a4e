#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Runs the cases of this folder on a Debian with systemd as first process, booted in user-mode-linux.
# README.md says how a case is written. Ends with a table of outages and "N passed, M failed".
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
root=$(readlink -f "$here/../..")

memory=512M
bootLimit=90           # seconds that a boot gets on top of its case
defaultLimit=180       # seconds for a case that says nothing else

lane=system
declare -A options=([list]='' [package]='' [older]='' [jobs]=${JOBS:-$(nproc)} [build]=$root/build [out]=$root/out/system)
flags=(list)

usage() {
    cat <<'END'
usage: ./dev system [--list] [--package FILE.deb] [--older FILE.deb] [--jobs N] [--build DIR] [--out DIR]
                    [NAME...]

  Runs the named cases of tests/system/cases, or all: the package on a Debian 12, or 13 where a case says
  so, with systemd as first process, beside the programs that own a bridge, in user-mode-linux. As root,
  for the disks. What was measured is in out/system/record.md. The last line reads "N passed, M failed".

    --list     names the cases and says what each shows
    --package  what is installed; default: the one of out/package, built if it is not there or of another commit
    --older    a package from which without-loss upgrades ten times, and nothing else
    --jobs N   boots N machines side by side; default: one for each processor
    --build    where kernel-probe was built
    --out      where disks and logs go, one for each case; default: out/system
END
}

source "$root/tests/options.sh"
readOptions "$@"
readNames
[[ -z ${options[list]} ]] || { listCases shows && exit; }

build=$(readlink -f "${options[build]}") out=${options[out]} jobs=${options[jobs]}
((EUID == 0)) || die "only root can put a disk together"
package=${options[package]:-$(find "$root/out/package" -name 'mvrp_*.deb' 2>/dev/null | head -n 1)}
[[ -s $package ]] || die "there is no package${package:+ $package}; ./dev package builds it"
package=$(readlink -f "$package")
older=${options[older]:+$(readlink -f "${options[older]}")}
needsPrograms tests/kernel/kernel-probe tests/kernel/libprocessor_state.so

mkdir -p "$out"
out=$(readlink -f "$out")
find "$out" -maxdepth 1 -type f ! -name '*.ext4*' -delete

# The longest first: what is left at the end is short.
mapfile -t names < <(for name in "${names[@]}"; do
    limit=$(header "$here/cases/$name.sh" limit)
    echo "${limit:-$defaultLimit} $name"
done | sort -k 1,1nr -k 2 | cut -d ' ' -f 2)

# suiteOf NAME: the Debian of a case.
suiteOf() { if [[ $(header "$here/cases/$1.sh" debian) == 13 ]]; then echo trixie; else echo bookworm; fi; }
mapfile -t needed < <(dpkg-deb -f "$package" Depends | tr ',' '\n' | sed 's/([^)]*)//; s/|.*//; s/ //g')
mapfile -t suites < <(for name in "${names[@]}"; do suiteOf "$name"; done | sort -u)
for suite in "${suites[@]}"; do "$here/root.sh" "$suite" "$out/$suite.ext4" "${needed[@]}" & done
wait
for suite in "${suites[@]}"; do [[ -s $out/$suite.ext4.mark ]] || die "there is no disk of Debian $suite"; done

# ------------------------------------------------------------------------------------ run them
# boot CASE NUMBER SECONDS: the machine, until it is switched off. What it writes goes to a disk of its own over
# the common one.
boot() {
    TMPDIR=/dev/shm timeout --kill-after=5 "$3" \
        env LD_PRELOAD="$build/tests/kernel/libprocessor_state.so" linux.uml "mem=$memory" \
        "ubd0=$out/$1.disk,$out/$(suiteOf "$1").ext4" root=/dev/ubda rw lsm=apparmor con=null con0=fd:0,fd:1 quiet \
        "systemd.setenv=SYSTEM_TESTS=$here" "systemd.setenv=SYSTEM_BUILD=$build" \
        "systemd.setenv=SYSTEM_OUT=$out" "systemd.setenv=SYSTEM_PACKAGE=$package" \
        "systemd.setenv=SYSTEM_OLDER=$older" "systemd.setenv=SYSTEM_CASE=$1" "systemd.setenv=SYSTEM_BOOT=$2" \
        </dev/null >"$out/$1.$2.console" 2>&1 || true
}

# runCase NAME: its boots, one after the other, on one disk.
runCase() {
    local name=$1 file=$here/cases/$1.sh begin=$SECONDS number=1 limit
    limit=$(header "$file" limit)
    while grep -q "^boot$number()" "$file"; do
        boot "$name" "$number" $((bootLimit + ${limit:-$defaultLimit}))
        if [[ ! -f $out/$name.$number.passed ]]; then
            printf 'FAIL %s (%d s)\n' "$name" $((SECONDS - begin))
            return
        fi
        number=$((number + 1))
    done
    rm -f "$out/$name.disk"
    touch "$out/$name.passed"
    printf 'pass %s (%d s)\n' "$name" $((SECONDS - begin))
}

for name in "${names[@]}"; do
    while (($(jobs -rp | wc -l) >= jobs)); do wait -n; done
    runCase "$name" &
done
wait

# record: what a file of docs/records says of this run.
record() {
    local name commit=${SYSTEM_COMMIT:-$(git -C "$root" describe --always --dirty 2>/dev/null || echo unknown)}
    printf '# The lane for whole systems\n\n%s, commit %s, ' "$(date '+%-d %B %Y')" "$commit"
    printf '%d of %d cases passed. ' "$passed" ${#names[@]}
    printf 'It took %d s on %d processors, with the package built before.\n' $SECONDS "$(nproc)"
    printf '\nProbes every 10 ms; the longest time without any, in ms. What the program that owns the bridge takes down shows in\n'
    printf 'its own VLAN, too; what it takes off, and mvrp puts back, in the last column: how long a learnt VLAN was missing on a port.\n'
    for name in "${names[@]}"; do
        grep -q '  outage | ' "$out/$name.log" 2>/dev/null || continue
        printf '\n**%s**: %s\n\n' "$name" "$(sed -n 's/^[0-9:]*  about | //p' "$out/$name.log" | paste -sd ';' | sed 's,;,; ,g')"
        printf '| across | its own VLAN | learnt VLAN | VLAN of its host | taken off |\n|---|---:|---:|---:|---:|\n'
        sed -n 's/^[0-9:]*  outage \(| .*\)/\1 |/p' "$out/$name.log"
    done
    printf '\n**Probes that were counted**\n\n'
    sed -n 's/^[0-9:]*  probes \(.*\)/- \1/p' "$out/without-loss.log" 2>/dev/null || true
}

passed=$(find "$out" -name '*.passed' ! -name '*.[0-9].passed' | wc -l)
record >"$out/record.md"
sed -n '/^|/p; /^\*\*/p' "$out/record.md"
for name in "${names[@]}"; do
    [[ -f $out/$name.passed ]] && continue
    printf '\n---- %s failed; the end of %s:\n' "$name" "$out/$name.log"
    tail -n 60 "$out/$name.log" 2>/dev/null || tail -n 20 "$out/$name".*.console
done
printf '%d passed, %d failed\n' "$passed" $((${#names[@]} - passed))
((passed == ${#names[@]}))
