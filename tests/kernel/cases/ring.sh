# shows: a ring with the kernel's spanning tree: a link is cut and comes back, and no registration is left
# limit: 240

for name in b1 b2 b3; do bridge "$name" stp_state 1 forward_delay 200 hello_time 100 max_age 600; done
link b1 b2
link b2 b3
link b3 b1
host h1 b1
host h2 b2
for name in b1 b2 b3; do daemon "$name"; done
blocked() { at "$1" bridge link show | grep -c 'state blocking'; }
allForward() { ! { for n in b1 b2 b3; do at "$n" bridge link show; done | grep -qE 'state (listening|learning)'; }; }
oneBlocked() { allForward && (($(blocked b1 || true) + $(blocked b2 || true) + $(blocked b3 || true) == 1)); }
# all ports between the bridges that carry a VLAN
trail() { local at=''; for p in b1:b2 b1:b3 b2:b1 b2:b3 b3:b1 b3:b2; do carries "${p%:*}" "${p#*:}" "$1" && at+=" $p"; done; echo "$at"; }
untrodden() { [[ -z $(trail "$1") ]]; }

expect 40 oneBlocked
joins h1 10 mvrp
joins h2 20 mvrp
expect 20 carries b2 h2 20
reaches() { [[ $(trail 10) == *" b2:"* && $(trail 20) == *" b1:"* ]]; }
expect 20 reaches
say "VLAN 10 at$(trail 10), VLAN 20 at$(trail 20)"

say 'cut the direct link'
ip -n b1 link set b2 down
expect 40 allForward
around() { carries b3 b1 10 && carries b2 b3 10 && carries b3 b2 20 && carries b1 b3 20; }
expect 20 around
say 'and restore it'
ip -n b1 link set b2 up
expect 40 oneBlocked
expect 20 reaches

say 'every registration ends with its declaration'
leaves h1 10
expect 20 untrodden 10
leaves h2 20
expect 20 untrodden 20
steady 12 untrodden 10
untrodden 20
