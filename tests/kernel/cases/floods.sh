# shows: a host floods malformed PDUs, LeaveAlls and joins: what others have stays, and their frames pass
# lane: long
# limit: 180

bridge b1
for name in h1 h2 bad; do host "$name" b1; done
daemon b1 leave-all=5000
joins h1 10 mvrp
joins h2 10 mvrp
expect 10 carries b1 h1 10
expect 10 carries b1 h2 10
ip -n h1 addr add 10.0.0.1/24 dev v10
ip -n h2 addr add 10.0.0.2/24 dev v10

# sends COUNT HEX: a frame as fast as it goes, from the bad host; HEX is what follows the ethertype.
sends() {
    at bad /usr/bin/python3 - "$1" "$2" <<'PY'
import socket
import sys

wire = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
wire.bind(("eth0", 0))
frame = bytes.fromhex("0180c2000021" "020000000001" "88f5" + sys.argv[2]).ljust(60, b"\0")
for _ in range(int(sys.argv[1])):
    wire.send(frame)
PY
}
probes kept h1 h2 10
say 'malformed: a vector that claims more than there is'
sends 20000 00010200ff000a24
say 'LeaveAlls'
sends 20000 00010220000000000000
say 'joins of a VLAN that comes and goes'
for _ in 1 2 3; do
    sends 5000 0001020001000d2400000000
    sends 5000 0001020001000db400000000
done
say 'noise: a PDU of zeros, and one that ends in its header'
sends 5000 00
sends 5000 0001
steady 3 carries b1 h1 10
carries b1 h2 10
probed kept
has '"(malformed|overBudget)": [1-9]' ctl b1 -j show statistics bad
say 'and others are served at once'
joins h1 20 mvrp
expect 5 carries b1 h1 20
