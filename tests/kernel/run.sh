#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Runs the cases of this folder on a real kernel: user-mode-linux, which boots on this machine's own
# root file system. README.md says how a case is written. Ends with "N passed, M failed".
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
root=$(readlink -f "$here/../..")

memory=256M
bootLimit=60           # seconds that a kernel gets on top of its cases
defaultLimit=120       # seconds for a case that says nothing else

lane=kernel
declare -A options=([list]='' [quick]='' [verbose]='' [corrections]=all [jobs]=${JOBS:-$(nproc)} [build]=$root/build
    [out]=$root/out/kernel)
flags=(list quick verbose)

usage() {
    cat <<'END'
usage: ./dev kernel [--list] [--quick] [--verbose] [--corrections SET] [--jobs N] [--build DIR]
                    [--out DIR] [NAME...]

  Runs the named cases of tests/kernel/cases, or all, in user-mode-linux: bridges, hosts with the
  kernel's own MVRP and GVRP, and the daemon, in network namespaces of a kernel that exists for this
  run only. No privileges needed. The last line reads "N passed, M failed".

    --list     names the cases and says what each shows
    --quick    leaves the long cases out, and has others repeat less
    --verbose  shows what the cases do while they do it
    --corrections SET
               what the daemons of the cases run with that do not say it themselves: all (the
               default) or none, to see a case fail without
    --jobs N   boots N kernels side by side; default: one for each processor
    --build    where mvrp, mvrpctl and kernel-probe were built
    --out      where logs go, one for each case; default: out/kernel
END
}

source "$root/tests/options.sh"
readOptions "$@"
readNames
[[ -z ${options[list]} ]] || { listCases lane shows && exit; }

build=$(readlink -f "${options[build]}") out=${options[out]} jobs=${options[jobs]}
quick=${options[quick]} verbose=${options[verbose]} corrections=${options[corrections]}
[[ $corrections == all || $corrections == none ]] || die "--corrections $corrections; allowed: all, none"

# ------------------------------------------------------------------------------- what is to be run
selected=() seconds=$bootLimit
for name in "${names[@]}"; do
    file=$here/cases/$name.sh
    [[ -n $quick && $(header "$file" lane) == long ]] && continue
    limit=$(header "$file" limit)
    selected+=("$name ${limit:-$defaultLimit}")
    seconds=$((seconds + ${limit:-$defaultLimit}))
done
needsPrograms platform/host/mvrp cli/mvrpctl network/mvrp-net tests/kernel/kernel-probe tests/kernel/libprocessor_state.so

mkdir -p "$out"
out=$(readlink -f "$out")
rm -rf "${out:?}"/*
mkdir "$out/claims"
printf '%s\n' "${selected[@]}" >"$out/cases"
for path in "$here" "$build" "$out"; do
    [[ $path != *[[:space:]]* ]] || die "$path: blanks in a path cannot be handed to the kernel"
done

# The kernel keeps its memory in a file that it must be able to map for execution.
scratch=''
for directory in /dev/shm /tmp /var/tmp "$out"; do
    if [[ -w $directory && $(findmnt -no OPTIONS -T "$directory") != *noexec* ]] &&
        (($(df --output=avail -k "$directory" | tail -n 1) > jobs * 300000)); then
        scratch=$directory
        break
    fi
done
[[ -n $scratch ]] || die "no directory with room for $jobs kernels; make room in /tmp"

# ------------------------------------------------------------------------------------ run them
# Each kernel takes the next case that nobody has claimed. Only what it says about cases is shown.
boot() {
    TMPDIR=$scratch timeout --kill-after=5 "$seconds" \
        env LD_PRELOAD="$build/tests/kernel/libprocessor_state.so" linux.uml "mem=$memory" root=/dev/root \
        rootfstype=hostfs rootflags=/ rw lsm=apparmor "init=$here/init.sh" con=null con0=fd:0,fd:1 quiet \
        "KERNEL_TESTS=$here" "KERNEL_BUILD=$build" "KERNEL_OUT=$out" "KERNEL_VERBOSE=$verbose" \
        "KERNEL_CORRECTIONS=$corrections" "KERNEL_QUICK=$quick" \
        </dev/null 2>"$out/kernel.$1.err" | sed -u 's/\r//g' | tee "$out/kernel.$1.log" |
        grep --line-buffered -E '^(pass|FAIL|  \|)'
}

((jobs <= ${#selected[@]})) || jobs=${#selected[@]}
for ((i = 1; i <= jobs; i++)); do boot "$i" & done
wait

passed=$(find "$out" -name '*.passed' | wc -l)
failed=$((${#selected[@]} - passed))
for line in "${selected[@]}"; do
    name=${line% *}
    [[ -f $out/$name.passed ]] && continue
    printf '\n---- %s failed; the end of %s:\n' "$name" "$out/$name.log"
    tail -n 60 "$out/$name.log" 2>/dev/null || tail -n 20 "$out"/kernel.*.log
done
printf '%d passed, %d failed\n' "$passed" "$failed"
((failed == 0))
