# shows: three daemons in a chain: VLANs are learnt along the way between those that have them

bridge b1
bridge b2
bridge b3
link b1 b2
link b2 b3
host h1 b1
host h2 b2
host h3 b3
for name in b1 b2 b3; do daemon "$name"; done

joins h1 10-12 mvrp
joins h3 12-14 mvrp
expect 20 exactly b2 b1 1,10-12
expect 20 exactly b3 b2 1,10-12
expect 20 exactly b2 b3 1,12-14
expect 20 exactly b1 b2 1,12-14
expect 10 exactly b1 h1 1,10-12
expect 10 exactly b3 h3 1,12-14
exactly b2 h2 1

say 'a bridge in the middle has a static VLAN of its own'
at b2 bridge vlan add dev h2 vid 50
expect 10 carries b1 b2 50
expect 10 carries b3 b2 50

say 'one end leaves'
leaves h1 10-12
expect 20 exactly b3 b2 1,50
expect 20 exactly b2 b1 1,50
expect 10 exactly b2 b3 1,12-14,50
expect 10 exactly b1 b2 1,12-14,50
