# shows: ports that appear later, are renamed, leave and come back, move to a bond or away, and are deleted
# limit: 300

bridge b1
bridge b2
host h0 b1
daemon b1
daemon b2

say 'a cable that is plugged in later'
link b1 b2
host h1 b1
joins h1 10 mvrp
expect 15 carries b1 h1 10
expect 15 carries b2 b1 10

say 'renamed'
rename b1 h1 desk
joins h1 11 mvrp
expect 15 exactly b1 desk 1,10-11
expect 15 exactly b2 b1 1,10-11

say 'out of the bridge: withdrawn; back: the host declares it again'
ip -n b1 link set desk nomaster
expect 40 exactly b2 b1 1
hasNot 01:80:c2:00:00:21 at b1 tc filter show dev desk ingress
ip -n b1 link set desk master br0
expect 25 exactly b1 desk 1,10-11
expect 15 exactly b2 b1 1,10-11

say 'out and back at once drops the kernel entries; they come back'
printf 'link set desk nomaster\nlink set desk master br0\n' | ip -n b1 -batch -
expect 25 exactly b1 desk 1,10-11

say 'deleted'
ip netns del h1
expect 40 exactly b2 b1 1

say 'a port that becomes part of a bond: the bond is the port'
host h2 b1
joins h2 30 mvrp
expect 15 carries b1 h2 30
ip -n b1 link set h2 nomaster
ip -n b1 link set h2 down
ip -n b1 link add bond0 type bond mode active-backup miimon 100
ip -n b1 link set h2 master bond0
ip -n b1 link set bond0 up
ip -n b1 link set bond0 master br0
expect 25 carries b1 bond0 30
expect 15 exactly b2 b1 1,30

say 'a port that moves to another namespace'
ip netns add away
ip -n b1 link set bond0 nomaster
expect 40 exactly b2 b1 1
host h3 b1
joins h3 40 mvrp
expect 15 carries b2 b1 40
ip -n b1 link set h3 netns away
expect 40 exactly b2 b1 1
ctl b1 show ports
