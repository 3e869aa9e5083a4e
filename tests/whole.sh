# shellcheck shell=bash disable=SC2034,SC2154  # names that dev has, or reads
# SPDX-License-Identifier: MIT
#
# ./dev test: its parts, in which order and beside what they run, and how they are counted. Read by dev, whose small
# parts it stands on.
#
# Two cores are enough when they are always busy. Tests in real time mostly wait, so they run beside the builds and the
# tests that compute, which stand behind them for the processors.

# ------------------------------------------------------------------------------------- what is counted
passed=0 failed=0

# Adds up the result of a part from the lines "N passed, N failed" of its log. A part without any is one
# failed test.
countResults() {
    local counts
    counts=$(awk '
        /^[0-9]+ passed, [0-9]+ failed$/ { good += $1; bad += $3; seen = 1 }
        END { if (!seen) bad = 1; print good + 0, bad + 0 }' "$1")
    partPassed=${counts% *}
    partFailed=${counts#* }
}

# What a green run does not show: what was not run, and what failed among others and was run once more
# by itself. Lines of a part's log; unit tests that a sanitizer does not allow run later.
notRun=() again=()
noteGaps() {
    local name=$1 line
    while read -r line; do
        case $line in
            'NOT RUN: '*) [[ $name == unit ]] || notRun+=("$name: ${line#NOT RUN: }") ;;
            'FAILED AMONG OTHERS'*) again+=("$name: ${line##*: }") ;;
        esac
    done <"$logs/$name.log"
}

# report NAME STATUS SECONDS: counts a part that has ended; the first that fails ends the run.
report() {
    countResults "$logs/$1.log"
    if (($2 != 0 && partFailed == 0)); then partFailed=1; fi
    passed=$((passed + partPassed)) failed=$((failed + partFailed))
    noteGaps "$1"
    if (($2 != 0 || partFailed != 0)); then finishTests; fi
    printf '  %s%d passed%s in %d s, with %d s of a processor\n' "$green" "$partPassed" "$plain" "$3" \
        "$(processorOf "$1")"
}

# ---------------------------------------------------------------------------------------- parts, and beside them
# part NAME TITLE COMMAND...
part() {
    local name=$1 title=$2 start=$SECONDS status=0
    shift 2
    heading "$title"
    quietly "$name" "$@" || status=$?
    report "$name" "$status" $((SECONDS - start))
    lookBeside
}

# testBuild COMMAND...: a build that fails counts as a failed test.
testBuild() {
    if ! "$@"; then
        failed=$((failed + 1))
        finishTests
    fi
    lookBeside
}

# Parts that were begun and not yet met: by name, the process, the title and when they began.
declare -A besides=() titles=() begins=()

# beside NAME TITLE COMMAND...: begins a part. What follows runs beside it, and builds behind it for the processors.
beside() {
    local name=$1
    titles[$name]=$2 begins[$name]=$SECONDS
    shift 2
    printf '\n%sBegun, beside what follows: %s%s\n' "$dim" "${titles[$name]}" "$plain"
    logged "$name" "$@" >"$logs/$name.log" 2>&1 &
    besides[$name]=$!
    behind=(nice -n 19)
}

# meet NAME: waits for a part that was begun, and counts it.
meet() {
    local name=$1 pid=${besides[$1]} status=0 seconds
    heading "${titles[$name]}"
    watchProcess "$pid" "$logs/$name.log"
    wait "$pid" || status=$?
    unset "besides[$name]"
    seconds=$((SECONDS - begins[$name]))
    ((status == 0)) || showFailure "$name" "$seconds"
    report "$name" "$status" "$seconds"
    ((${#besides[@]})) || behind=()
}

# Meets those that have ended.
lookBeside() {
    local name
    for name in "${!besides[@]}"; do
        kill -0 "${besides[$name]}" 2>/dev/null || meet "$name"
    done
}

meetAll() {
    local name
    for name in "${!besides[@]}"; do meet "$name"; done
}

# descendants PID: its children's, and itself. Daemons under test have sessions of their own.
descendants() {
    local child
    for child in $(ps -o pid= --ppid "$1"); do descendants "$child"; done
    echo "$1"
}

# Ends what still runs when the first part has failed, or when we are told to end.
stopBesides() {
    # shellcheck disable=SC2046  # several numbers
    kill $(descendants $$ | grep -vx $$) 2>/dev/null || true
}

# ---------------------------------------------------------------------------------------------- the end
# listed TITLE LINE...: nothing when there is no line.
listed() {
    (($# > 1)) || return 0
    printf '\n%s: %d\n' "$1" $(($# - 1))
    printf '  %s\n' "${@:2}"
}

# What is too long for every change: when it was last run, and how far, by the first sentence of its youngest record.
lastSystemRun() {
    local record
    record=$(find docs/records -name '*-system.md' | sort | tail -n 1)
    [[ -n $record ]] || return 0
    printf '\nThe lane ./dev system was last run on %s (%s)\n' \
        "$(sed -nE 's/^([0-9]+ [A-Z][a-z]+ [0-9]+, commit [^.]+)\..*/\1/p' "$record" | head -n 1)" "$record"
}

finishTests() {
    listed 'Not run' "${notRun[@]}"
    listed 'Failed among others, and run once more by themselves' "${again[@]}"
    lastSystemRun
    times >"$logs/whole.times"
    printf '\nAll of it took %d s, with %d s of a processor.\n' $((SECONDS - testBegin)) "$(processorOf whole)"
    printf '\n%d passed, %d failed' "$passed" "$failed"
    ((${#notRun[@]} == 0)) || printf ', %d skipped' "${#notRun[@]}"
    printf '\n'
    exit $((failed != 0))
}

# ----------------------------------------------------------------------------------------- what the parts run
# countTests LOG [WITHOUT-FAILED]: of ctest's log, a line for each test that skipped itself, with its reason, and how
# many passed: those that a program counted itself, or else the program.
countTests() {
    awk -v without="${2:-}" '
        /^[0-9]+\/[0-9]+ Testing: / { good = bad = counted = 0 }
        /^\[ RUN      \] / { reason = "no reason is given" }
        /: Skipped$/ { getline reason }
        /^\[  SKIPPED \] .* \([0-9]+ ms\)$/ { print "NOT RUN: " $4 ": " reason }
        /^\[  PASSED  \] [0-9]+ tests?\.$/ { good += $4; counted = 1 }
        /^\[  FAILED  \] [0-9]+ tests?, listed below:$/ { bad += $4; counted = 1 }
        /^[0-9]+ passed, [0-9]+ failed$/ { good += $1; bad += $3; counted = 1 }
        /^Test Passed\.$/ { goods += counted ? good : 1; bads += bad }
        /^Test Failed\.$/ && !without { goods += good; bads += bad ? bad : 1 }
        END { printf "%d passed, %d failed\n", goods, bads }' "$1"
}

# ctestIn DIRECTORY [OPTION...]: what fails among the others is run once more by itself, and that counts.
ctestIn() {
    local directory=$1 status=0 results=$1/Testing/Temporary
    shift
    rm -f "$results"/LastTest*.log
    withoutAddressRandomisation ctest --test-dir "$directory" --output-on-failure \
        --no-tests=error -j "$jobs" "$@" || status=$?
    if ((status == 0)) || [[ ! -s $results/LastTestsFailed.log ]]; then
        countTests "$results/LastTest.log"
        return "$status"
    fi
    countTests "$results/LastTest.log" without-failed
    sed 's/^[0-9]*:/FAILED AMONG OTHERS, once more by itself: /' "$results/LastTestsFailed.log"
    status=0
    withoutAddressRandomisation ctest --test-dir "$directory" --output-on-failure --rerun-failed || status=$?
    countTests "$results/LastTest.log"
    return "$status"
}

# The units that have threads of their own, then the real programs.
runThreaded() {
    ctestIn build-tsan -L threads &&
        withoutAddressRandomisation \
            env MVRPCTL="$PWD/build-asan/cli/mvrpctl" \
            python3 tests/integration/run.py --build build-tsan test_threads
}

# What the sanitizers had to leave out, without them. Names what did not run here either.
runSkipped() {
    local status=0 name
    ctestIn build -L plain || status=$?
    sed -nE 's/^NOT RUN: ([^:]+)(: .*)?$/\1/p' "$logs/unit.log" | while read -r name; do
        grep -qF "[       OK ] $name " build/Testing/Temporary/LastTest.log ||
            grep "^NOT RUN: $name" "$logs/unit.log"
    done
    return "$status"
}

runChecks() {
    local check status=0
    for check in tests/checks/[a-z]*.py; do
        echo "$check"
        python3 "$check" build || status=1
    done
    return "$status"
}

# What waits in real time, so many at a time.
networksAtATime=4 kernelsAtATime=5

# Each network once, as real processes.
runTopologies() {
    printf '%s\n' lab/topologies/*.toml 'lab/topologies/line.toml --corrections all' |
        xargs -P "$networksAtATime" -L 1 python3 lab/lab.py run --build build --count
}

# What `ninja` has to make before the real programs can be tested.
realPrograms=(mvrp mvrpctl mvrp-exporter mvrp-net mvrp-plan host_faults)

cmdTest() {
    testBegin=$SECONDS
    # shellcheck disable=SC2046  # several names
    needs "${packagesToBuild[@]}" "${packagesToRun[@]}" "${packagesToTest[@]}" \
        "${packagesToSanitize[@]}" "${packagesToBoot[@]}" "${packagesToLint[@]}" "${packagesToBench[@]}" \
        qemu-user-static $(tests/cross/run.sh --packages "${slicesToCross[@]}")
    export ASAN_OPTIONS=${ASAN_OPTIONS:-abort_on_error=0:detect_leaks=1}
    export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
    export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1}
    mkdir -p "$logs"
    trap stopBesides EXIT

    part lint 'Form: C++, shell, Python, subjects of commits' lintQuickly
    heading 'Building the programs, with the address and undefined-behaviour sanitizers'
    testBuild buildIn build-asan "$addressOptions" "${realPrograms[@]}"
    beside integration 'The real programs (ASan, UBSan)' python3 tests/integration/run.py --build build-asan
    heading 'Building the tests, with the same sanitizers'
    testBuild compileIn build-asan
    part unit 'Unit and scenario tests (ASan, UBSan)' ctestIn build-asan
    heading 'Building by GCC, without sanitizers'
    testBuild buildIn build '' "${kernelPrograms[@]}" mvrp_daemon plain_tests mvrp-bench
    meetAll

    beside networks 'The networks of lab/topologies' runTopologies
    beside kernel 'The bridge driver on a kernel' tests/kernel/run.sh --build build --quick --jobs "$kernelsAtATime"
    part skipped 'Unit tests that no sanitizer allows' runSkipped
    part checks 'Borders: directions of includes, symbols of the daemon library' runChecks
    part cross 'Traces on other processors (qemu)' tests/cross/run.sh --traces "${slicesToCross[@]}"
    heading 'Building what has threads, with the thread sanitizer'
    testBuild buildIn build-tsan "$threadOptions" threaded_tests mvrp
    meetAll

    part threads 'Threads: command requests against frame traffic (TSan)' runThreaded
    part figures 'Benchmarks: five ratios beside those that are recorded' bench/recorded.py build
    finishTests
}
