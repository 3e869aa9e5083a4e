# shows: a bridge that speaks MVRP relays no protocol frames, of ports that take part or not, until it stops

bridge b1
host in1 b1          # takes part
host in2 b1          # takes part
host out1 b1         # does not
host out2 b1
daemon b1 ports='in*'
for name in in2 out2; do capture "$name" "$name" eth0 "$protocolFrames"; done
capture port b1 out1 "$protocolFrames"
macOf() { ip -n "$1" link show eth0 | awk '/link\/ether/ { print $2 }'; }
staysHere() { seesNone in2 ether src "$(macOf "$1")" && seesNone out2 ether src "$(macOf "$1")"; }

say 'a host whose port takes part: its own frames stay here'
joins in1 10 mvrp
expect 10 carries b1 in1 10
steady 2 staysHere in1

say 'a host whose port does not: nor do its frames leave another port, and nothing is registered'
joins out1 20 mvrp
expect 10 sees port
steady 3 staysHere out1
lacks b1 out1 20
nowhere b1 20

say 'switched off on a port the guard stays; with the daemon it goes without traces'
ctl b1 set port in1 enable off
has 01:80:c2:00:00:21 at b1 tc filter show dev in1 ingress
stopDaemon b1
hasNot clsact at b1 tc qdisc show
