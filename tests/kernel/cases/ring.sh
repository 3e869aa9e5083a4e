# shows: a ring with the kernel's spanning tree: a link is cut and comes back, and no membership is left
# limit: 300

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
reaches() { anywhere b2 10 && anywhere b1 20; }
untrodden() { nowhere b1 "$1" && nowhere b2 "$1" && nowhere b3 "$1"; }

expect 40 oneBlocked
joins h1 10 mvrp
joins h2 20 mvrp
expect 20 carries b2 h2 20
expect 20 reaches

say 'cut the direct link'
ip -n b1 link set b2 down
expect 40 allForward
around() { carries b3 b1 10 && carries b2 b3 10 && carries b3 b2 20 && carries b1 b3 20; }
expect 20 around
say 'and restore it'
ip -n b1 link set b2 up
expect 40 oneBlocked
expect 20 reaches

say 'every membership ends with its declaration'
leaves h1 10
expect 20 untrodden 10
leaves h2 20
expect 20 untrodden 20
steady 12 untrodden 10
untrodden 20
