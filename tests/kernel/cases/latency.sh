# shows: how long from a host's join to the entry on the bridge, for one VLAN, 3,093 and 4,093, and for a static VLAN to get on
# lane: long
# limit: 500

bridge b1
bridge b2
bridge b3
link b1 b2
host k2 b2
host s1 b1
for n in 1 2 3 4 5; do
    host "h$n" b1
    host "a$n" b3
done
for name in b1 b2 b3; do
    plainDaemon "$name"
    at "$name" stdbuf -oL bridge -compressvlans -timestamp monitor vlan >"$scratch/$name.monitor" 2>&1 &
done
pause 1

# told BRIDGE PATTERN: the times, in microseconds, at which its kernel told of an entry that matches.
told() {
    local month day year clock micros
    awk -v pattern="$2" '/^Timestamp:/ { stamp = $3 " " $4 " " $6 " " $5 " " $7; next } $0 ~ pattern { print stamp }' \
        "$scratch/$1.monitor" | while read -r month day year clock micros; do
        printf '%s%06d\n' "$(date -d "$month $day $year $clock" +%s)" "$((10#$micros))"
    done
}
# stampOf PLACE COMMAND...: of the times that a command prints, the one at a place (0 the first, -1 the last), as soon
# as there is one: what happened is told a moment after it can be seen.
stampOf() {
    local stamps=('')
    until [[ -n ${stamps[0]} ]]; do
        pause 0.05
        mapfile -t stamps <<<"$("${@:2}")"
    done
    echo "${stamps[$1]}"
}
# entry BRIDGE PATTERN, lastEntry BRIDGE PATTERN, firstFrame NAME
entry() { stampOf 0 told "$@"; }
lastEntry() { stampOf -1 told "$@"; }
firstFrame() { stampOf 0 stamps "$1"; }
# stamps NAME: when the frames of a capture came, in microseconds.
stamps() { tcpdump -ttnr "$scratch/$1.pcap" 2>/dev/null | sed -n 's/^\([0-9]*\)\.\([0-9]*\) .*/\1\2/p'; }
# took WHAT FROM TO: says the time, and keeps it in `times`, in milliseconds.
times=()
took() {
    [[ -n $2 && -n $3 ]] || fail "no time of $1"
    times+=($((($3 - $2) / 1000)))
    say "$1: ${times[-1]} ms"
}
# within WHAT [LIMIT]: says the middle one of the times since the last call, which is to be no more than a limit.
late=''
within() {
    local sorted middle
    mapfile -t sorted <<<"$(printf '%s\n' "${times[@]}" | sort -n)"
    middle=${sorted[${#sorted[@]} / 2]}
    say "$1: $middle ms in the middle of ${#sorted[@]}${2:+, at most $2 wanted}"
    [[ -z ${2:-} ]] || ((middle <= $2)) || late+=" $1: $middle ms;"
    times=()
}

for n in 1 2 3 4 5; do
    capture "h$n" b1 "h$n" "$protocolFrames and ether src $(ip -n "h$n" link show eth0 | awk '/link\/ether/ { print $2 }')"
    joins "h$n" "10$n" mvrp
    expect 10 carries b1 "h$n" "10$n"
    took "join $n" "$(firstFrame "h$n")" "$(entry b1 "h$n .*10$n")"
done

within 'one VLAN, from the join frame to the entry' 100

for n in 1 2 3 4 5; do
    at b1 bridge vlan add dev s1 vid "20$n"
    expect 10 carries b2 b1 "20$n"
    took "static $n" "$(entry b1 "^s1 .*20$n")" "$(entry b1 "^b2 .*20$n")"
done
within 'a static VLAN, from one port to the uplink' 300
for n in 1 2 3 4 5; do
    took "static $n" "$(entry b1 "^s1 .*20$n")" "$(entry b2 "^b1 .*20$n")"
done
within 'and on to the next bridge, which is not limited'

say 'one frame with a JoinIn of each of VLANs 2 to 4094, on a bridge by itself'
for n in 1 2 3 4 5; do
    capture "a$n" b3 "a$n" "$protocolFrames and greater 1000"
    at "a$n" /usr/bin/python3 - <<'END'
import socket
import struct

VLANS = 4093
wire = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
wire.bind(("eth0", 0))
joins = bytes([43] * (VLANS // 3) + [36])  # three JoinIn of each octet, and one in the last
wire.send(bytes.fromhex("0180c2000021" "020000000001" "88f5" "00" "0102") + struct.pack(">HH", VLANS, 2) + joins + bytes(4))
END
    expect 20 exactly b3 "a$n" 1-4094
    took "all $n" "$(firstFrame "a$n")" "$(lastEntry b3 "^a$n .*4094")"
    # They end with the next LeaveAll, as nobody declares them again.
    expect 60 exactly b3 "a$n" 1
done
within '4,093 VLANs, from one join frame to the last entry' 500

at b2 bridge vlan add dev k2 vid 1000-4092
expect 20 exactly b1 b2 1,201-205,1000-4092
took 'many 1' "$(entry b2 '^k2 .*1000')" "$(lastEntry b1 '^b2 .*4092')"
within '3,093 VLANs, from a port of the next bridge, which is not limited'
[[ -z $late ]] || fail "too late:$late"
