# shows: a host's `mvrp on` brings its VLAN to its port and to the next bridge, and takes it away again

bridge b1
bridge b2
link b1 b2
host h1 b1
host h2 b2
daemon b1
daemon b2

joins h1 10 mvrp
expect 10 carries b1 h1 10
expect 10 carries b2 b1 10
say 'and goes no further: nobody there declares it back, and b2 only declares it'
exactly b1 b2 1
exactly b2 h2 1

joins h1 11-13,4094 mvrp
expect 20 exactly b2 b1 1,10-13,4094
expect 10 exactly b1 h1 1,10-13,4094

say 'deleted interfaces'
leaves h1 10,12
expect 10 exactly b1 h1 1,11,13,4094
expect 10 exactly b2 b1 1,11,13,4094
leaves h1 11,13,4094
expect 10 exactly b2 b1 1
expect 10 exactly b1 h1 1
