# shows: a port registers what its list permits and as many as it may, and takes so many PDUs
# limit: 180

bridge b1 vlan_default_pvid 0
host u1 b1
host u2 b1
mkdir -p -m 777 "$scratch/b1"
config() {
    cat >"$scratch/b1/mvrp.toml" <<END
[switch]
driver = "linux"
bridge = "br0"

[[port]]
name = "u*"
mvrp = true
permit = "$1"
max-vlans = $2
max-pdus = 20
END
}
config 10-19 2
startDaemon b1

say 'two of three VLANs, and none that is not permitted'
joins u1 10,11 mvrp
expect 5 exactly b1 u1 10-11
joins u1 12,30 mvrp
expect 5 has 'u1: VLAN .*registrations were refused' cat "$scratch/b1/log"
steady 3 exactly b1 u1 10-11
unregistered b1 30
unregistered b1 12

say 'a place that becomes free is taken'
leaves u1 10
expect 15 exactly b1 u1 11-12

say 'a policy that is tightened takes nothing away'
config 12-19 1
kill -HUP "$(pidOf b1)"
expect 5 has 'VLANs 11 are not permitted any more' cat "$scratch/b1/log"
steady 12 exactly b1 u1 11-12
leaves u1 11
expect 5 exactly b1 u1 12
joins u1 11 mvrp
steady 4 exactly b1 u1 12

say 'too many PDUs: dropped, counted, and the neighbours are asked when it calms'
capture u2 u2 eth0 "$protocolFrames"
at u2 /usr/bin/python3 -c '
import socket, struct
s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
s.bind(("eth0", 0))
frame = bytes.fromhex("0180c2000021 020000000001 88f5 00 01 02 0001 000d 24 0000 0000").ljust(60, b"\0")
for _ in range(500):
    s.send(frame)'
expect 5 has 'u2: more than 20 PDUs a second' cat "$scratch/b1/log"
leaveAll='ether proto 0x88f5 and ether[17] & 0xe0 = 0x20'
before=$(captured u2 "$leaveAll")
more() { (($(captured u2 "$leaveAll") > before)); }
expect 4 more
say 'meanwhile the other port is served'
exactly b1 u1 12
