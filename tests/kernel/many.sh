# SPDX-License-Identifier: MIT
#
# For cases with 4094 VLANs at once: b2 has them or not, b1 learns and forgets them, and others have
# configured something on b1.

manyVlans() {
    bridge b1
    bridge b2
    link b1 b2
    host h1 b1
    host h2 b2
    at b1 bridge vlan add dev h1 vid 77 untagged
    daemon b1 leave-all=3000
    daemon b2 leave-all=3000
    expect 20 exactly b1 b2 1,77
}

declareAll() { at b2 bridge vlan add dev h2 vid 2-4094; }
withdrawAll() { at b2 bridge vlan del dev h2 vid 2-4094; }

# untouched: what others configured on b1 is as they made it.
untouched() {
    has '77 Egress Untagged' at b1 bridge vlan show dev h1
    has '1 PVID Egress Untagged' at b1 bridge vlan show dev b2
    exactly b1 h1 1,77
}

# killedRounds COUNT: each round kills b1's daemon while it learns and while it forgets.
killedRounds() {
    local round
    for round in $(seq "$1"); do
        say "round $round"
        declareAll
        killSoon
        expect 60 exactly b1 b2 1-4094
        untouched
        withdrawAll
        killSoon
        expect 60 exactly b1 b2 1,77
        untouched
    done
}

# killSoon: at any moment of the second or two that a change takes.
killSoon() {
    sleep "$((RANDOM % 2)).$((RANDOM % 10))$((RANDOM % 10))"
    killDaemon b1
    startDaemon b1
}
