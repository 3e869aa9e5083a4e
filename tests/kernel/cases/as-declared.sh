# shows: after start, restart and 200 random joins and leaves of 6 hosts (--quick: 50), each port has what is declared behind it
# limit: 240

RANDOM=${KERNEL_SEED:-7}
for name in b1 b2 b3; do bridge "$name"; done
link b1 b2
link b2 b3
hosts=(h11 h12 h21 h22 h31 h32)  # of b1, b1, b2, ...
for name in "${hosts[@]}"; do
    host "$name" "b${name:1:1}"
    declarer "$name"
done

declare -A declares=()  # [HOST VLAN]=VLAN
toggle() {
    if [[ -n ${declares[$1 $2]:-} ]]; then
        tell "$1" "link del v$2"
        unset "declares[$1 $2]"
    else
        tell "$1" "link add link eth0 name v$2 type vlan id $2 mvrp on" "link set v$2 up"
        declares[$1 $2]=$2
    fi
}

# behind HOST...: VLAN 1 and what these declare.
behind() {
    local name vid all=(1)
    for name in "$@"; do
        for vid in {10..19}; do [[ -z ${declares[$name $vid]:-} ]] || all+=("$vid"); done
    done
    ranges "${all[@]}"
}

# asDeclared: every port of every bridge, hosts' and others.
describe() { printf 'br0 1\n'; printf '%s\n' "$@" | sort; }
describeAll() {
    first=$(describe "h11 $(behind h11)" "h12 $(behind h12)" "b2 $(behind h21 h22 h31 h32)" | sort)
    middle=$(describe "h21 $(behind h21)" "h22 $(behind h22)" "b1 $(behind h11 h12)" "b3 $(behind h31 h32)" | sort)
    last=$(describe "h31 $(behind h31)" "h32 $(behind h32)" "b2 $(behind h11 h12 h21 h22)" | sort)
}
asDeclared() { [[ $(picture b1) == "$first" && $(picture b2) == "$middle" && $(picture b3) == "$last" ]]; }

say 'hosts are there when the daemons start'
for name in "${hosts[@]}"; do
    toggle "$name" "$((10 + RANDOM % 5))"
    toggle "$name" "$((15 + RANDOM % 5))"
done
describeAll
for name in b1 b2 b3; do daemon "$name" wire-format=ieee leave-all=5000; done
expect 30 asDeclared

say 'the one in the middle starts again'
stopDaemon b2
startDaemon b2
expect 30 asDeclared

say "$(rounds 200 50) joins and leaves"
for _ in $(seq "$(rounds 200 50)"); do
    toggle "${hosts[RANDOM % 6]}" "$((10 + RANDOM % 10))"
    pause "0.0$((RANDOM % 10))"
done
for name in "${hosts[@]}"; do untold "$name"; done
describeAll
say "$middle"
expect 30 asDeclared
