# shows: privileges of the daemon on a bridge, and what mvrpctl doctor finds there, each thing mended by its own words
# lane: long
# limit: 180

# diagnosis BRIDGE: all that the doctor says; findings are no failure here.
diagnosis() { ctl "$1" doctor "$scratch/$1/mvrp.toml" || (($? == 1)); }

bridge b1
bridge b2
link b1 b2
host tap0 b1
daemon b1 ports=b2
daemon b2 wire-format=ieee
expect 15 has '^Nothing found' diagnosis b1

say 'it holds two capabilities, in every thread, and can gain none'
# fields PATTERN: the values of these lines in all threads; one that just ended is passed over.
fields() {
    { cat /proc/"$(pidOf b1)"/task/*/status 2>/dev/null || true; } | awk -v field="^($1):" \
        '$1 ~ field { print $2 }' | sort -u
}
[[ $(fields 'Cap(Prm|Eff)') == 0000000000003000 ]]
[[ $(fields 'Cap(Inh|Bnd|Amb)') == 0000000000000000 ]]
[[ $(fields NoNewPrivs) == 1 ]]

say 'what an engineer breaks, it finds; what it says to type mends it'
at b1 ip link set dev br0 type bridge vlan_filtering 0
expect 5 has '^error: br0: .*vlan_filtering is 0' diagnosis b1
at b1 bash -c "$(diagnosis b1 | grep -o 'ip link set dev br0 type bridge vlan_filtering 1')"
expect 15 has '^Nothing found' diagnosis b1

removesGuard() { at b1 tc filter del dev b2 ingress pref 33 2>/dev/null; }
for _ in 1 2 3 4 5 6 7; do expect 5 removesGuard; done
expect 5 has '^error: b2: the guard is not there' diagnosis b1
has '^warning: b2: others remove the guard again and again' diagnosis b1
stopDaemon b1
expect 5 has '^error: daemon: ' diagnosis b1
startDaemon b1
expect 15 has '^Nothing found' diagnosis b1

say 'the kernel declares a VLAN beside the daemon'
at b1 ip link add link b2 name b2.50 type vlan id 50 mvrp on
has 'the kernel itself declares VLAN 50 here, for b2.50' diagnosis b1
at b1 bash -c "$(diagnosis b1 | grep -o 'ip link set dev b2.50 type vlan mvrp off')"
hasNot 'the kernel itself' diagnosis b1
at b1 ip link del b2.50

say 'a daemon that was killed leaves its guard; it is found, and the next start takes it over'
at b1 bridge vlan add dev tap0 vid 30
expect 5 carries b1 b2 30
killDaemon b1
expect 5 has 'a guard is left' diagnosis b1
hasNot 'by its ledger' diagnosis b1
at b1 bridge vlan del dev b2 vid 30
has '^warning: b2: the daemon put VLANs on it by its ledger, and they are not there: 30;' diagnosis b1
startDaemon b1
expect 5 carries b1 b2 30
expect 15 has '^Nothing found' diagnosis b1

say 'the neighbour speaks another form'
ctl b1 switch port wire-form b2 native
expect 40 has '^error: b2: the neighbour speaks the standard form' diagnosis b1
# shellcheck disable=SC2046  # words
ctl b1 $(diagnosis b1 | grep -o 'switch port wire-form b2 auto')
expect 5 hasNot 'the neighbour speaks' diagnosis b1

say 'it finds the file by the daemon, and says it in JSON'
has '"findings": \[' ctl b1 -j doctor
