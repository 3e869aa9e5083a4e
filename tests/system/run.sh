#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Runs the cases of this folder on a Debian 12 with systemd as first process, booted in user-mode-linux.
# README.md says how a case is written. Ends with "N passed, M failed".
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
root=$(readlink -f "$here/../..")

memory=512M
bootLimit=90           # seconds that a boot gets on top of its case
defaultLimit=180       # seconds for a case that says nothing else

build=$root/build out=$root/out/system jobs=${JOBS:-$(nproc)} package=''
names=()

usage() {
    cat <<'END'
usage: ./dev system [--list] [--package FILE.deb] [--jobs N] [--build DIR] [--out DIR] [NAME...]

  Runs the named cases of tests/system/cases, or all: the package on a Debian 12 with systemd as first
  process, beside the programs that own a bridge, in user-mode-linux. As root, for the disk. The last
  line reads "N passed, M failed".

    --list     names the cases and says what each shows
    --package  what is installed; default: the one of out/package, built if it is not there
    --jobs N   boots N machines side by side; default: one for each processor
    --build    where kernel-probe was built
    --out      where disk and logs go, one for each case; default: out/system
END
}

die() {
    printf 'tests/system: %s\n' "$*" >&2
    exit 2
}

# header FILE KEY: the value of a line "# KEY: value" of a case.
header() { sed -n "s/^# $2: //p" "$1" | head -n 1; }

while (($#)); do
    case $1 in
        --list) list=yes ;;
        --package) package=$(readlink -f "$2") && shift ;;
        --jobs) jobs=$2 && shift ;;
        --build) build=$(readlink -f "$2") && shift ;;
        --out) out=$2 && shift ;;
        -h | --help) usage && exit ;;
        -*) usage >&2 && die "there is no option $1" ;;
        *) names+=("${1%.sh}") ;;
    esac
    shift
done

((${#names[@]})) || mapfile -t names < <(basename -s .sh "$here"/cases/*.sh)
for name in "${names[@]}"; do
    [[ -f $here/cases/$name.sh ]] || die "there is no case '$name'; ./dev system --list names them"
done
if [[ -n ${list:-} ]]; then
    for name in "${names[@]}"; do printf '%-22s %s\n' "$name" "$(header "$here/cases/$name.sh" shows)"; done
    exit
fi
((EUID == 0)) || die "only root can put a disk together"
[[ -n $package ]] || package=$(find "$root/out/package" -name 'mvrp_*.deb' 2>/dev/null | head -n 1)
[[ -s $package ]] || die "there is no package; ./dev package builds it"
for program in tests/kernel/kernel-probe tests/kernel/libprocessor_state.so; do
    [[ -e $build/$program ]] || die "$build/$program is missing; ./dev system builds it"
done

mkdir -p "$out"
out=$(readlink -f "$out")
find "$out" -maxdepth 1 -type f ! -name 'root.ext4*' -delete
mapfile -t needed < <(dpkg-deb -f "$package" Depends | tr ',' '\n' | sed 's/([^)]*)//; s/|.*//; s/ //g')
"$here/root.sh" "$out/root.ext4" "${needed[@]}"

# ------------------------------------------------------------------------------------ run them
# boot CASE NUMBER SECONDS: the machine, until it is switched off. What it writes goes to a disk of its own over
# the common one.
boot() {
    TMPDIR=/dev/shm timeout --kill-after=5 "$3" \
        env LD_PRELOAD="$build/tests/kernel/libprocessor_state.so" linux.uml "mem=$memory" \
        "ubd0=$out/$1.disk,$out/root.ext4" root=/dev/ubda rw lsm=apparmor con=null con0=fd:0,fd:1 quiet \
        "systemd.setenv=SYSTEM_TESTS=$here" "systemd.setenv=SYSTEM_BUILD=$build" \
        "systemd.setenv=SYSTEM_OUT=$out" "systemd.setenv=SYSTEM_PACKAGE=$package" \
        "systemd.setenv=SYSTEM_CASE=$1" "systemd.setenv=SYSTEM_BOOT=$2" \
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
    sed -n 's/^[0-9:]*  \(outage .*\)/       \1/p' "$out/$name.log"
}

for name in "${names[@]}"; do
    while (($(jobs -rp | wc -l) >= jobs)); do wait -n; done
    runCase "$name" &
done
wait

passed=0
for name in "${names[@]}"; do
    if [[ -f $out/$name.passed ]]; then
        passed=$((passed + 1))
        continue
    fi
    printf '\n---- %s failed; the end of %s:\n' "$name" "$out/$name.log"
    tail -n 60 "$out/$name.log" 2>/dev/null || tail -n 20 "$out/$name".*.console
done
printf '%d passed, %d failed\n' "$passed" $((${#names[@]} - passed))
((passed == ${#names[@]}))
