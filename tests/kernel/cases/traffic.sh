# shows: tagged frames pass between two hosts on two bridges exactly while both declare the VLAN

bridge b1
bridge b2
link b1 b2
host h1 b1
host h2 b2
daemon b1
daemon b2
joins h1 10 none
joins h2 10 none
ip -n h1 addr add 10.0.0.1/24 dev v10
ip -n h2 addr add 10.0.0.2/24 dev v10
pings() { at h1 ping -q -c 1 -W 1 10.0.0.2 >/dev/null; }
silent() { ! pings; }
declares() { ip -n "$1" link set v10 type vlan mvrp "$2"; }

steady 2 silent
say 'one side alone'
declares h1 on
expect 10 carries b2 b1 10
steady 2 silent
say 'both'
declares h2 on
expect 10 carries b1 b2 10
expect 5 pings
say 'one side gives it up'
declares h1 off
expect 10 lacks b1 h1 10
steady 2 silent
say 'and takes it up again'
declares h1 on
expect 10 pings
