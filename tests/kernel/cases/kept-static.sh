# shows: a static VLAN carries every frame while others declare and withdraw the VLANs beside it
# limit: 180

for name in b1 b2 b3; do bridge "$name"; done
link b1 b2
link b2 b3
# At both ends a machine with VLAN 30, which comes while the daemon runs, and a host with others; the bridge
# between learns what it hears.
for end in 1 3; do
    host "tap$end" "b$end"
    host "h$end" "b$end"
done
for name in b1 b2 b3; do daemon "$name" wire-format=ieee leave-all=2000; done
for end in 1 3; do
    at "b$end" bridge vlan add dev "tap$end" vid 30
    joins "tap$end" 30 none
done
probes there tap1 tap3 30
probes back tap3 tap1 30

for round in 1 2; do
    say "round $round"
    joins h1 29,31 mvrp
    joins h3 31 mvrp
    expect 10 exactly b2 b1 1,29-31
    expect 10 exactly b2 b3 1,30-31
    steady 6 exactly b2 b1 1,29-31  # over some LeaveAlls
    leaves h3 31
    leaves h1 29,31
    expect 10 exactly b2 b1 1,30
    expect 10 exactly b2 b3 1,30
done
probed there back
