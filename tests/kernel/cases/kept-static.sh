# shows: a static VLAN carries every frame while others declare and withdraw the VLANs beside it

bridge b1
bridge b2
link b1 b2
for name in b1 b2; do
    host "tap$name" "$name"
    host "h$name" "$name"
    daemon "$name" wire-format=ieee
    at "$name" bridge vlan add dev "tap$name" vid 30
    joins "tap$name" 30 none
done
expect 10 carries b1 b2 30
expect 10 carries b2 b1 30
probes there tapb1 tapb2 30
probes back tapb2 tapb1 30

for round in 1 2 3; do
    say "round $round"
    joins hb1 29,31 mvrp
    joins hb2 31 mvrp
    expect 10 exactly b2 b1 1,29-31
    expect 10 exactly b1 b2 1,30-31
    leaves hb2 31
    leaves hb1 29,31
    expect 10 exactly b2 b1 1,30
    expect 10 exactly b1 b2 1,30
done
probed there
probed back
