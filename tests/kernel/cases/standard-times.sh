# shows: beside a neighbour with standard times, with defaults, nothing flaps in ten leave-all times
# lane: long
# limit: 300

bridge b1
bridge b2
link b1 b2
host h1 b1
host h2 b2
plainDaemon b1
daemon b2 wire-format=ieee
joins h1 10-12 mvrp
at b2 bridge vlan add dev h2 vid 30
expect 20 exactly b2 b1 1,10-12,30
expect 20 exactly b1 b2 1,30
expect 20 exactly b1 h1 1,10-12

watchVlans monitor.b1 b1
watchVlans monitor.b2 b2
capture leaveall b1 b2 "$protocolFrames"
quiet() { [[ ! -s $scratch/monitor.b1 && ! -s $scratch/monitor.b2 ]]; }
steady 110 quiet
exactly b2 b1 1,10-12,30
exactly b1 b2 1,30
