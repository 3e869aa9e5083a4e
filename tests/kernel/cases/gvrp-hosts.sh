# shows: under compliance the same with the kernel's GVRP, which sends a leave only once

bridge b1
bridge b2
link b1 b2
host h1 b1
daemon b1 compliance=true
daemon b2 compliance=true

joins h1 10-12 gvrp
expect 10 exactly b1 h1 1,10-12
expect 10 exactly b2 b1 1,10-12
exactly b1 b2 1
leaves h1 10,12
expect 10 exactly b1 h1 1,11
expect 10 exactly b2 b1 1,11
leaves h1 11
expect 10 exactly b2 b1 1
exactly b1 h1 1
