# shows: 1000 VLANs of one host arrive complete, here and at the next bridge, and all of them go
# lane: long
# limit: 240

bridge b1
bridge b2
link b1 b2
host h1 b1
daemon b1
daemon b2

joins h1 1001-2000 mvrp
expect 60 exactly b1 h1 1,1001-2000
expect 60 exactly b2 b1 1,1001-2000
leaves h1 1001-2000
expect 60 exactly b1 h1 1
expect 60 exactly b2 b1 1
