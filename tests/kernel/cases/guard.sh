# shows: the guard keeps protocol frames from being forwarded, and leaves filters of others alone

bridge b1
host h1 b1
host h2 b1
capture h2 h2 eth0 "$protocolFrames"
capture port b1 h1 "$protocolFrames"

say 'without a guard the bridge forwards the frames of a host'
joins h1 10 mvrp
expect 5 sees h2

say 'with it, it does not, and a packet socket on the port still sees them'
[[ $(probe b1 guard h1 show) == off ]]
probe b1 guard h1 on
probe b1 guard h1 on
[[ $(probe b1 guard h1 show) == on ]]
# A frame that was on its way when the guard came is counted nowhere else.
sleep 0.5
before=$(captured h2) atPort=$(captured port)
joins h1 11 mvrp
more() { (($(captured port) >= atPort + 3)); }
expect 10 more
[[ $(captured h2) == "$before" ]]

say 'removed, it leaves nothing behind'
probe b1 guard h1 off
probe b1 guard h1 off
[[ $(probe b1 guard h1 show) == off ]]
[[ -z $(at b1 tc qdisc show dev h1 clsact) ]]
leaks() { (($(captured h2) > before)); }
expect 5 leaks

say 'a clsact qdisc that was there stays, with its filters; also one without filters'
at b1 tc qdisc add dev h1 clsact
probe b1 guard h1 on
at b1 tc filter add dev h1 ingress pref 7 protocol ip flower dst_mac 02:00:00:00:00:01 action pass
at b1 tc filter add dev h1 egress pref 8 protocol ip flower dst_mac 02:00:00:00:00:02 action pass
probe b1 guard h1 off
has 'pref 7' at b1 tc filter show dev h1 ingress
hasNot 01:80:c2:00:00:21 at b1 tc filter show dev h1 ingress
at b1 tc filter del dev h1 ingress pref 7
at b1 tc filter del dev h1 egress pref 8
probe b1 guard h1 on
probe b1 guard h1 off
has 'clsact' at b1 tc qdisc show dev h1
at b1 tc qdisc del dev h1 clsact

say 'a filter of others that came after the guard keeps the qdisc'
probe b1 guard h1 on
at b1 tc filter add dev h1 egress pref 9 protocol ip flower dst_mac 02:00:00:00:00:02 action pass
probe b1 guard h1 off
has 'pref 9' at b1 tc filter show dev h1 egress
at b1 tc qdisc del dev h1 clsact

say 'its place taken by others: an error, and their filter stays'
at b1 tc qdisc add dev h1 clsact
at b1 tc filter add dev h1 ingress pref 33 protocol all matchall action pass
refuses probe b1 guard h1 on
probe b1 guard h1 off
has 'matchall' at b1 tc filter show dev h1 ingress
at b1 tc qdisc del dev h1 clsact

say 'an ingress qdisc serves as well'
at b1 tc qdisc add dev h1 ingress
probe b1 guard h1 on
[[ $(probe b1 guard h1 show) == on ]]
probe b1 guard h1 off
has '^qdisc ingress' at b1 tc qdisc show dev h1

say 'a port that is gone'
probe b1 guard h2 on
ip -n b1 link del h2
refuses probe b1 guard h2 on
