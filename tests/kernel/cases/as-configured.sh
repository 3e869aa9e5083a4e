# shows: with static = "as-configured" the daemon leaves the uplink to the administrator

bridge b1
bridge b2
link b1 b2
host tap0 b1
daemon b1 ports='b*' static=as-configured
daemon b2

at b1 bridge vlan add dev tap0 vid 30
steady 4 exactly b1 b2 1
exactly b2 b1 1
say 'what the administrator puts there is declared'
at b1 bridge vlan add dev b2 vid 30
expect 10 exactly b2 b1 1,30
at b1 bridge vlan del dev b2 vid 30
expect 10 exactly b2 b1 1
exactly b1 tap0 1,30
