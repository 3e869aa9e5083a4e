# shows: others delete, add over ours, and notifications are lost: the bridge ends as without the fault
# limit: 240

bridge b1
bridge b2
link b1 b2
host h1 b1
host h2 b1
daemon b1
daemon b2
joins h1 10-11,20 mvrp
expect 10 exactly b1 h1 1,10-11,20
expect 10 exactly b2 b1 1,10-11,20

say 'somebody deletes what is ours: repaired, and logged'
at b1 bridge vlan del dev h1 vid 10-11
expect 10 exactly b1 h1 1,10-11,20
has 'h1' grep -iE 'warn|restor|delet|remov|repair' "$scratch/b1/log"

say 'somebody makes a static entry of ours, untagged: it is theirs now, and stays when the host leaves'
at b1 bridge vlan add dev h1 vid 20 untagged
expect 10 has '"vlanStatus": "permanent"' ctl b1 -j show vlan 20
leaves h1 20
steady 5 carries b1 h1 20
has '20 Egress Untagged' at b1 bridge vlan show dev h1
say 'and is static everywhere as long as it is there'
expect 10 carries b2 b1 20
at b1 bridge vlan del dev h1 vid 20
expect 10 exactly b2 b1 1,10-11
exactly b1 h1 1,10-11

say 'notifications are lost while the daemon is held up'
pid=$(pidOf b1)
at b1 bridge vlan add dev h2 vid "1000-1999"
expect 10 carries b2 b1 1999
kill -STOP "$pid"
for _ in $(seq 1500); do
    echo "vlan add dev h2 vid 4094"
    echo "vlan del dev h2 vid 4094"
done | at b1 bridge -batch -
# What happens now is not told any more.
at b1 bridge vlan del dev h1 vid 10
at b1 bridge vlan del dev h2 vid 1000-1999
at b1 bridge vlan add dev h2 vid 77
kill -CONT "$pid"
expect 20 exactly b1 h1 1,10-11,77
expect 20 exactly b2 b1 1,10-11,77
exactly b1 h2 1,77
