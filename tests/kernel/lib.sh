# SPDX-License-Identifier: MIT
#
# The verbs of the cases. Every bridge and every host is a network namespace of its name; a bridge
# device is always called br0, the interface of a host eth0, and a port of a bridge bears the name of
# what it leads to: `host h1 b1` gives the bridge b1 a port h1, `link b1 b2` gives b1 a port b2 and
# b2 a port b1.

scratch=/run/case
declare -A daemonJob=()   # of the bridges whose daemon runs

say() { printf '%s  %s\n' "$(date +%T)" "$*"; }

# fail TEXT: ends the case.
fail() {
    say "failed: $*"
    return 1
}

# ------------------------------------------------------------------------------------- the network
# at WHERE COMMAND...: runs a command in a host or on a bridge.
at() { ip netns exec "$@"; }

# bridge NAME [OPTION...]: a VLAN-aware bridge; options are those of `ip link add type bridge`.
bridge() {
    ip netns add "$1"
    ip -n "$1" link set lo up
    ip -n "$1" link add br0 type bridge vlan_filtering 1 "${@:2}"
    ip -n "$1" link set br0 up
}

# wire A NAME B NAME: a cable between two namespaces.
wire() {
    ip -n "$1" link add "$2" type veth peer name "$4" netns "$3"
    ip -n "$1" link set "$2" up
    ip -n "$3" link set "$4" up
}

# host NAME BRIDGE: a host at a new port of a bridge.
host() {
    ip netns add "$1"
    ip -n "$1" link set lo up
    wire "$1" eth0 "$2" "$1"
    ip -n "$2" link set "$1" master br0
}

# link A B: a cable between two bridges.
link() {
    wire "$1" "$2" "$2" "$1"
    ip -n "$1" link set "$2" master br0
    ip -n "$2" link set "$1" master br0
}

# joins HOST VLANS PROTOCOL: the host gets an interface for each VLAN, declared by the kernel's own
# mvrp or gvrp, or by nothing ("none").
joins() {
    local vid
    for vid in $(numbers "$2"); do
        if [[ $3 == none ]]; then
            echo "link add link eth0 name v$vid type vlan id $vid"
        else
            echo "link add link eth0 name v$vid type vlan id $vid $3 on"
        fi
        echo "link set v$vid up"
    done | ip -n "$1" -batch -
}

# leaves HOST VLANS
leaves() {
    local vid
    for vid in $(numbers "$2"); do echo "link del v$vid"; done | ip -n "$1" -batch -
}

# declarer HOST: from now on `tell HOST LINE...` gives lines of `ip -batch` to one process, which costs less
# than one each; `untold HOST` ends it, when it has done all.
declare -A declarerJob=() declarerHolder=()
declarer() {
    mkfifo "$scratch/$1.ip"
    ip -n "$1" -batch - <"$scratch/$1.ip" &
    declarerJob[$1]=$!
    # Without a writer the process would see the end.
    (exec sleep infinity >"$scratch/$1.ip") &
    declarerHolder[$1]=$!
}
tell() {
    # It ends at the first line that the kernel refuses; then nobody would read.
    kill -0 "${declarerJob[$1]}" 2>/dev/null || fail "the declarer of $1 has ended"
    printf '%s\n' "${@:2}" >"$scratch/$1.ip"
}
untold() {
    kill "${declarerHolder[$1]}"
    wait "${declarerJob[$1]}"
}

# pause SECONDS: where something is to be at any moment, or nothing must happen; without a process.
mkfifo "$scratch/never"
exec {never}<>"$scratch/never"
pause() { read -rt "$1" -u "$never" || true; }

# rounds ALL SLICE: how often a case does again what may fail once in a while; --quick has the slice.
rounds() { if [[ -n ${KERNEL_QUICK:-} ]]; then echo "$2"; else echo "$1"; fi; }

# floods HOST COUNT: MVRP frames as fast as they go, each a JoinIn of VLAN 13.
floods() {
    at "$1" /usr/bin/python3 - "$2" <<'END'
import socket
import sys

wire = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
wire.bind(("eth0", 0))
frame = bytes.fromhex("0180c2000021" "020000000001" "88f5" "00" "0102" "0001000d24" "0000" "0000")
for _ in range(int(sys.argv[1])):
    wire.send(frame.ljust(60, b"\0"))
END
}

# rename BRIDGE PORT NAME: the kernel wants it down for that.
rename() {
    ip -n "$1" link set "$2" down
    ip -n "$1" link set "$2" name "$3"
    ip -n "$1" link set "$3" up
}

# numbers RANGES: "1-3,7" as "1 2 3 7".
numbers() {
    local range
    for range in ${1//,/ }; do seq -s ' ' "${range%-*}" "${range#*-}"; done | paste -sd ' '
}

# ranges [NUMBER...]: the numbers, in any order, as `vlansOf` shows them.
ranges() {
    (($#)) || set -- -
    printf '%s\n' "$@" | sort -nu | awk '
        function put() { if (NR > 1) printf "%s%s", (n++ ? "," : ""), first == last ? first : first "-" last }
        $1 != last + 1 || NR == 1 { put(); first = $1 }
        { last = $1 }
        END { NR++; put() }'
}

# ------------------------------------------------------------------------------- what the kernel has
# vlansOf BRIDGE PORT: the entries of a port as ranges, "1,10-12", or "-".
vlansOf() {
    at "$1" bridge -compressvlans vlan show dev "$2" 2>/dev/null | awk '
        function put() { if (last) printf "%s%s", (n++ ? "," : ""), first == last ? first : first "-" last }
        NR > 1 {
            split($1 ~ /^[0-9]+(-[0-9]+)?$/ ? $1 : $2, range, "-")
            if (!range[1]) next
            if (!range[2]) range[2] = range[1]
            if (!last || range[1] != last + 1) { put(); first = range[1] }
            last = range[2]
            delete range
        }
        END { put(); if (!last) printf "-" }'
}

# picture BRIDGE: all ports with their entries, a line each, sorted: `h1 1,10-12`.
picture() {
    at "$1" bridge -compressvlans vlan show | awk '
        function put() { if (port) print port, (last ? text (first == last ? first : first "-" last) : "-") }
        NR > 1 {
            if ($0 ~ /^[^ \t]/) { put(); port = $1; first = last = 0; text = ""; entry = $2 } else entry = $1
            if (entry !~ /^[0-9]/) next
            split(entry, range, "-")
            if (!range[2]) range[2] = range[1]
            if (last && range[1] != last + 1) { text = text (first == last ? first : first "-" last) ","; first = 0 }
            if (!first) first = range[1]
            last = range[2]
            delete range
        }
        END { put() }' | sort
}

# exactly BRIDGE PORT VLANS: the port has these entries and no others.
exactly() { [[ $(vlansOf "$1" "$2") == "$3" ]]; }

# carries BRIDGE PORT VLAN / lacks BRIDGE PORT VLAN: one VLAN.
carries() {
    local vlans
    vlans=$(vlansOf "$1" "$2")
    [[ $vlans != - && " $(numbers "$vlans") " == *" $3 "* ]]
}
lacks() { ! carries "$@"; }

# anywhere BRIDGE VLAN / nowhere BRIDGE VLAN: whether any port has an entry of one VLAN alone.
anywhere() { has " $2( |\$)" at "$1" bridge -compressvlans vlan show; }
nowhere() { ! anywhere "$@"; }

# ------------------------------------------------------------------------------------ saying so
# expect SECONDS COMMAND...: the command succeeds before the time is over.
expect() {
    local limit=$1 end=$((SECONDS + $1 + 1))
    shift
    say "expect within $limit s: $*"
    until "$@"; do
        if ((SECONDS >= end)); then
            fail "not within $limit s: $*"
            return
        fi
        sleep 0.1
    done
}

# steady SECONDS COMMAND...: the command succeeds now and whenever it is tried during that time.
steady() {
    local seconds=$1 end=$((SECONDS + $1))
    shift
    say "steady for $seconds s: $*"
    while ((SECONDS < end)); do
        if ! "$@"; then
            fail "not any more: $*"
            return
        fi
        sleep 0.2
    done
}

# has PATTERN COMMAND...: the command succeeds, and prints a line that matches.
has() {
    local text
    text=$("${@:2}") && grep -qE -- "$1" <<<"$text"
}

# hasNot PATTERN COMMAND...: it succeeds, and prints none.
hasNot() {
    local text
    text=$("${@:2}") && ! grep -qE -- "$1" <<<"$text"
}

# refuses COMMAND...: the command fails.
refuses() { ! "$@"; }

# watchVlans NAME BRIDGE: keeps what the kernel tells about its VLANs from now on in a file of this name.
watchVlans() {
    at "$2" stdbuf -oL bridge monitor vlan >"$scratch/$1" 2>&1 &
    expect 10 pgrep -f '^bridge monitor vlan' >/dev/null
}

# ------------------------------------------------------------------------------------- captures
# capture NAME WHERE INTERFACE [FILTER...]: keeps the frames that an interface sees, received ones only.
capture() {
    local file=$scratch/$1.pcap
    at "$2" tcpdump -Z root -U -Q in -i "$3" -w "$file" "${@:4}" 2>"$file.log" &
    echo $! >"$file.pid"
    expect 10 grep -q 'listening on' "$file.log"
}

# captured NAME [FILTER...]: how many frames were kept.
captured() {
    tcpdump -r "$scratch/$1.pcap" "${@:2}" 2>/dev/null | wc -l
}

# sees NAME [FILTER...] / seesNone: whether there are any.
sees() { (($(captured "$@") > 0)); }
seesNone() { ! sees "$@"; }

# The address of MVRP and GVRP frames.
# shellcheck disable=SC2034  # used by cases
protocolFrames='ether dst 01:80:c2:00:00:21'

# ------------------------------------------------------------------------------------- probes
# interfaceOf WHERE VLAN: the interface that `joins` made.
interfaceOf() { echo "v$2"; }

# probes NAME FROM TO VLAN: numbered probes, one every 10 ms, from one host's interface of the VLAN to
# another's, until `probed NAME`. They have to pass when this returns.
probes() {
    local name=$1 from=$2 to=$3 vid=$4 program=$KERNEL_BUILD/tests/kernel/kernel-probe
    (exec ip netns exec "$to" "$program" receive "$(interfaceOf "$to" "$vid")") >"$scratch/$name.received" &
    echo "$!" >"$scratch/$name.receiver"
    expect 10 grep -q watching "$scratch/$name.received"
    (exec ip netns exec "$from" "$program" send "$(interfaceOf "$from" "$vid")") >"$scratch/$name.sent" &
    echo "$!" >"$scratch/$name.sender"
    expect 20 grep -q first "$scratch/$name.received"
}

# stopProbe FILE: ends one side, and lets it say what it has to say.
stopProbe() {
    local pid
    pid=$(cat "$1")
    kill -TERM "$pid"
    wait "$pid"
}

# counted NAME: ends the probes of a name, says how many were sent and lost, and fails if any was; outage[NAME] is the
# longest time without any, in ms, 0 if none was lost. The first that arrived counts as the first sent.
declare -A outage=()
counted() {
    local name=$1 sent received lost first
    stopProbe "$scratch/$name.sender"
    sent=$(sed -n 's/^sent //p' "$scratch/$name.sent")
    pause 0.5  # for what is on its way; nothing tells of a probe that does not come
    stopProbe "$scratch/$name.receiver"
    first=$(sed -n 's/^first //p' "$scratch/$name.received")
    received=$(sed -n 's/^received \([0-9]*\) .*/\1/p' "$scratch/$name.received")
    lost=$((sent - first + 1 - received))
    # shellcheck disable=SC2034  # the cases of tests/system use it
    # 10 ms lie between two in any case. None came after the last: as many as were sent, one every 10 ms.
    outage[$name]=$(awk -v sent="$sent" '
        function at_least(ms) { if (ms > longest) longest = ms }
        /^lost/ { at_least($4 - 10) }
        /^received/ { at_least((sent - $4) * 10) }
        END { print longest + 0 }' "$scratch/$name.received")
    say "probes $name: $((sent - first + 1)) sent, $lost lost $(sed -n '/^lost/p' "$scratch/$name.received" | paste -sd ' ')"
    ((sent - first > 100 && lost == 0))
}

# probed NAME...: ends the probes of these names and says all their numbers; none of them may have lost one.
probed() {
    local name bad=''
    for name in "$@"; do counted "$name" || bad+=" $name"; done
    [[ -z $bad ]] || fail "probes were lost, or hardly any were sent:$bad"
}

# ------------------------------------------------------------------------------------- programs
probe() { at "$1" "$KERNEL_BUILD/tests/kernel/kernel-probe" "${@:2}"; }

# daemon BRIDGE [SETTING=VALUE...]: configures mvrp for br0 of a bridge and starts it. Settings: ports (a
# pattern; those take part), permit, wire-format, static, on-stop, compliance, leave-all (ms), corrections (those of
# `./dev kernel --corrections`, if that says some).
daemon() {
    local dir=$scratch/$1 setting
    local -A set=([ports]='*' [permit]=1-4094 [wire-format]=auto [static]=carried [on-stop]=remove
        [compliance]=false [leave-all]=10000 [bridge]=br0 [corrections]=${KERNEL_CORRECTIONS:-all})
    for setting in "${@:2}"; do set[${setting%%=*}]=${setting#*=}; done
    mkdir -p "$dir"
    chmod 777 "$dir"
    cat >"$dir/mvrp.toml" <<END
[switch]
driver = "linux"
bridge = "${set[bridge]}"
static = "${set[static]}"
on-stop = "${set[on-stop]}"

[mvrp]
corrections = "${set[corrections]}"

[management]
enable = true
compliance = ${set[compliance]}

[[port]]
name = "${set[ports]}"
mvrp = true
permit = "${set[permit]}"
wire-format = "${set[wire-format]}"
join-time = 200
leave-time = 600
leave-all-time = ${set[leave-all]}
END
    startDaemon "$1"
}

# plainDaemon BRIDGE: MVRP on all ports, and whatever else the daemon's defaults are.
plainDaemon() {
    local dir=$scratch/$1
    mkdir -p "$dir"
    chmod 777 "$dir"
    printf '%s\n' '[switch]' 'driver = "linux"' 'bridge = "br0"' '[management]' 'enable = true' \
        '[[port]]' 'name = "*"' 'mvrp = true' >"$dir/mvrp.toml"
    startDaemon "$1"
}

# startDaemon BRIDGE: starts it again, as it was configured.
startDaemon() {
    local dir=$scratch/$1
    say "daemon on $1"
    echo "---- start $(date +%T)" >>"$dir/log"
    MVRP_RUNTIME_DIR=$dir at "$1" "$KERNEL_BUILD/platform/host/mvrp" --config "$dir/mvrp.toml" \
        >>"$dir/log" 2>&1 &
    daemonJob[$1]=$!
    expect 30 ctl "$1" show >/dev/null
}

# ctl BRIDGE ARGUMENT...: mvrpctl for its daemon.
ctl() { MVRP_RUNTIME_DIR=$scratch/$1 at "$1" "$KERNEL_BUILD/cli/mvrpctl" "${@:2}" 2>&1; }

pidOf() { pgrep -f "platform/host/mvrp --config $scratch/$1/mvrp.toml"; }

# killDaemon BRIDGE: with no chance to do anything more.
killDaemon() {
    kill -9 "$(pidOf "$1")"
    wait "${daemonJob[$1]}" 2>/dev/null || true
    unset "daemonJob[$1]"
}

# stopDaemon BRIDGE: the clean end; it must be a good one.
stopDaemon() {
    local status=0
    say "stop the daemon on $1"
    kill -TERM "$(pidOf "$1")"
    wait "${daemonJob[$1]}" || status=$?
    unset "daemonJob[$1]"
    ((status == 0)) || fail "the daemon on $1 ended with status $status"
}

# whatHappened STATUS COMMAND LINE...: after a failure, all that may explain it.
whatHappened() {
    local status=$1 where
    trap - ERR
    set +e
    say "status $status from: $2 (lines ${*:3})"
    for where in $(ip netns list | awk '{ print $1 }'); do
        [[ -e $scratch/$where/log ]] || at "$where" ip link show br0 >/dev/null 2>&1 || continue
        printf -- '-- %s\n' "$where"
        at "$where" bridge -compressvlans vlan show | head -n 60
        at "$where" bridge link show
        [[ -e $scratch/$where/log ]] && tail -n 40 "$scratch/$where/log"
    done
    exit "$status"
}
