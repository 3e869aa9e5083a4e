# shows: kill -9 and restart: members stay while neighbours declare again, and what nobody declares goes
# limit: 180

bridge b1
bridge b2
link b1 b2
host h1 b1
host h2 b1
at b1 bridge vlan add dev h2 vid 99
daemon b1 leave-all=6000
daemon b2 leave-all=6000
joins h1 10-12 mvrp
expect 10 exactly b1 h1 1,10-12,99
expect 10 exactly b2 b1 1,10-12,99

say 'killed; meanwhile VLAN 11 is deleted on the host'
watchVlans monitor b1
killDaemon b1
leaves h1 11
steady 1 exactly b1 h1 1,10-12,99
startDaemon b1
say 'what is still declared was never gone; what is not goes'
expect 30 exactly b1 h1 1,10,12,99
expect 30 exactly b2 b1 1,10,12,99
expect 5 has '^Deleted.*[^0-9]11([^0-9]|$)' cat "$scratch/monitor"
hasNot '(^Deleted.*[^0-9](10|12|99)([^0-9]|$))' cat "$scratch/monitor"
exactly b1 h2 1,99

say 'a clean stop takes what is ours, and nothing else'
stopDaemon b1
exactly b1 h1 1
exactly b1 b2 1
exactly b1 h2 1,99
hasNot clsact at b1 tc qdisc show

say 'an end for a restart leaves everything, whatever on-stop says'
startDaemon b1
expect 20 exactly b1 h1 1,10,12,99
kill -USR1 "$(pidOf b1)"
wait "${daemonJob[b1]}"
exactly b1 h1 1,10,12,99
has clsact at b1 tc qdisc show

say 'and with on-stop = "keep" it stays, for the next start'
daemon b1 on-stop=keep leave-all=6000
expect 20 exactly b1 h1 1,10,12,99
stopDaemon b1
exactly b1 h1 1,10,12,99
daemon b1 leave-all=6000
expect 20 exactly b2 b1 1,10,12,99
stopDaemon b1
exactly b1 h1 1
exactly b1 h2 1,99
