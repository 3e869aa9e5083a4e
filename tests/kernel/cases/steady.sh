# shows: hosts and neighbours answer our LeaveAll, and nothing flaps through two leave-all times
# limit: 180

bridge b1
bridge b2
link b1 b2
host h1 b1
daemon b1 leave-all=6000
daemon b2 leave-all=6000
joins h1 10-30 mvrp
expect 10 exactly b1 h1 1,10-30
expect 10 exactly b2 b1 1,10-30

watchVlans monitor.b1 b1
watchVlans monitor.b2 b2
capture leaveall h1 eth0 "$protocolFrames"
quiet() { [[ ! -s $scratch/monitor.b1 && ! -s $scratch/monitor.b2 ]]; }
steady 20 quiet
exactly b1 h1 1,10-30
exactly b2 b1 1,10-30
say 'meanwhile the host was asked, more than twice'
(($(captured leaveall) >= 3))
say 'and the monitors see'
leaves h1 30
expect 10 test -s "$scratch/monitor.b1"
expect 10 test -s "$scratch/monitor.b2"
