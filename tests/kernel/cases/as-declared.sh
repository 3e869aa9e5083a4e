# shows: after start, restart and 200 random joins and leaves of 6 hosts, each port has what is declared behind it

RANDOM=${KERNEL_SEED:-7}
for name in b1 b2 b3; do bridge "$name"; done
link b1 b2
link b2 b3
declare -A bridgeOf=([h11]=b1 [h12]=b1 [h21]=b2 [h22]=b2 [h31]=b3 [h32]=b3) declares=()
hosts=(h11 h12 h21 h22 h31 h32)
for name in "${hosts[@]}"; do host "$name" "${bridgeOf[$name]}"; done

# behind HOST...: VLAN 1 and what these declare.
behind() {
    local name all=1
    for name in "$@"; do all+=" ${declares[$name]:-}"; done
    # shellcheck disable=SC2086  # words
    ranges $all
}

# asDeclared: every port of every bridge, host or not.
asDeclared() {
    local name
    for name in "${hosts[@]}"; do
        exactly "${bridgeOf[$name]}" "$name" "$(behind "$name")" || return
    done
    exactly b1 b2 "$(behind h21 h22 h31 h32)" && exactly b2 b3 "$(behind h31 h32)" &&
        exactly b2 b1 "$(behind h11 h12)" && exactly b3 b2 "$(behind h11 h12 h21 h22)"
}

# toggle HOST VLAN
toggle() {
    if [[ " ${declares[$1]:-} " == *" $2 "* ]]; then
        leaves "$1" "$2"
        declares[$1]=$(tr ' ' '\n' <<<"${declares[$1]}" | grep -vx "$2" | paste -sd ' ' || true)
    else
        joins "$1" "$2" mvrp
        declares[$1]="${declares[$1]:-} $2"
    fi
}

say 'hosts are there when the daemons start'
for name in "${hosts[@]}"; do
    toggle "$name" "$((10 + RANDOM % 8))"
    toggle "$name" "$((20 + RANDOM % 8))"
done
for name in b1 b2 b3; do daemon "$name" wire-format=ieee leave-all=5000; done
expect 30 asDeclared

say 'the one in the middle starts again'
stopDaemon b2
startDaemon b2
expect 30 asDeclared

say '200 joins and leaves'
for _ in $(seq 200); do toggle "${hosts[RANDOM % 6]}" "$((10 + RANDOM % 8))"; done
expect 30 asDeclared
say "$(at b2 bridge -compressvlans vlan show)"
steady 6 asDeclared
