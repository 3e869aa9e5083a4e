# shows: a VLAN put on a machine's port by hand is carried and declared on the uplink, and pruned after it

bridge b1
bridge b2
link b1 b2          # b1's uplink
host tap0 b1
host tap1 b1
daemon b1 ports='b*'
daemon b2

at b1 bridge vlan add dev tap0 vid 30
expect 5 exactly b1 b2 1,30
expect 5 exactly b2 b1 1,30
exactly b1 tap1 1

say 'a second machine with the same VLAN keeps it when the first one stops'
at b1 bridge vlan add dev tap1 vid 30
at b1 bridge vlan del dev tap0 vid 30
steady 3 carries b1 b2 30
carries b2 b1 30
say 'and a machine that is gone takes it with it'
ip netns del tap1
expect 5 exactly b1 b2 1
expect 10 exactly b2 b1 1
