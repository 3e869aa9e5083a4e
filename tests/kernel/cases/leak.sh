# shows: the bridge forwards protocol frames of ports that do not take part, and of no others

bridge b1
host in1 b1          # takes part
host in2 b1          # takes part
host out1 b1         # does not
host out2 b1
daemon b1 ports='in*'
for name in in2 out2; do capture "$name" "$name" eth0 "$protocolFrames"; done
macOf() { ip -n "$1" link show eth0 | awk '/link\/ether/ { print $2 }'; }

say 'a host whose port takes part: its own frames stay here'
joins in1 10 mvrp
expect 10 carries b1 in1 10
staysHere() { seesNone in2 ether src "$(macOf in1)" && seesNone out2 ether src "$(macOf in1)"; }
steady 3 staysHere

say 'a host whose port does not: its frames go where multicast goes'
joins out1 20 mvrp
expect 10 sees out2 ether src "$(macOf out1)"
lacks b1 out1 20

say 'switched off on a port, they go everywhere again; the guard is gone without traces'
ctl b1 set port in1 enable off
joins in1 11 mvrp
expect 10 sees out2 ether src "$(macOf in1)"
hasNot 01:80:c2:00:00:21 at b1 tc filter show dev in1 ingress
has 01:80:c2:00:00:21 at b1 tc filter show dev in2 ingress
stopDaemon b1
hasNot clsact at b1 tc qdisc show
