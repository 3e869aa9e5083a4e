# shows: a port registers what its list permits and as many as it may, and takes so many PDUs
# limit: 180

bridge b1 vlan_default_pvid 0
host u1 b1
host u2 b1
mkdir -m 777 "$scratch/b1"
# config PERMIT MAXIMUM: the same for both ports, but for their leave-all times.
config() {
    local port
    printf '%s\n' '[switch]' 'driver = "linux"' 'bridge = "br0"'
    for port in 'u1 2000' 'u2 10000'; do
        printf '%s\n' '[[port]]' "name = \"${port% *}\"" 'mvrp = true' "permit = \"$1\"" "max-vlans = $2" \
            'max-pdus = 20' "leave-all-time = ${port#* }"
    done
}
config 10-19 2 >"$scratch/b1/mvrp.toml"
startDaemon b1
capture u2 u2 eth0 "$protocolFrames"

# running PORT KEY VLANS: what `show running` says of a port.
running() { has "\"$2\": \"$3\"" ctl b1 -j show running "$1"; }
# statistics PATTERN: of u1, without blanks, in one line.
statistics() { [[ $(ctl b1 -j show statistics u1 | tr -d ' \n') =~ $1 ]]; }

say 'two of three VLANs, and none that is not permitted: neither on the port nor passed on'
joins u1 10,11 mvrp
expect 5 exactly b1 u1 10-11
joins u1 12 mvrp
expect 5 has 'u1: VLAN 12, declared by .* is not registered: the port has registered as many' cat "$scratch/b1/log"
has 'the port has as many VLANs as it may register \(max-vlans\)' ctl b1 -j explain u1 12
joins u1 30 mvrp
expect 5 statistics '"notPermitted":[1-9].*"tooMany":[1-9].*"lastFailedRegistration":\{"vlan":(12|30),'
has "the port's permit list leaves it out" ctl b1 -j explain u1 30
steady 3 exactly b1 u1 10-11
running u1 vlansRegistered 10-11
running u2 vlansDeclared 10-11

say 'a place that becomes free is taken'
leaves u1 10
expect 6 exactly b1 u1 11-12

say 'a policy that is tightened takes nothing away, and what is withdrawn does not come back'
config 12-19 1 >"$scratch/b1/mvrp.toml"
kill -HUP "$(pidOf b1)"
expect 5 has 'u1: VLANs 11 are not permitted any more and registered' cat "$scratch/b1/log"
has 'u1: 2 VLANs are registered and 1 may be' cat "$scratch/b1/log"
steady 5 exactly b1 u1 11-12
leaves u1 11
expect 5 exactly b1 u1 12
joins u1 11 mvrp
steady 3 exactly b1 u1 12

say 'too many PDUs: dropped, counted, and the neighbours are asked when it calms; the other port is served'
# asked BEFORE: u2 has sent more LeaveAlls. Twice, for one may be that of the leave-all timer, of which there are
# not two within ten seconds.
leaveAlls() { captured u2 'ether proto 0x88f5 and ether[17] & 0xe0 = 0x20'; }
asked() { (($(leaveAlls) > $1)); }
for round in 1 2; do
    say "round $round"
    before=$(leaveAlls)
    floods u2 500
    expect 4 asked "$before"
done
has 'u2: more than 20 PDUs a second' cat "$scratch/b1/log"
has '"overBudget": [1-9]' ctl b1 -j show statistics u2
leaves u1 12
joins u1 13 mvrp
expect 5 exactly b1 u1 13
