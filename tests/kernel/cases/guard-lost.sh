# shows: a guard that others remove or change is put back at once, is counted, and no frame passes afterwards
# limit: 180

bridge b1
host in1 b1
host in2 b1
host out1 b1
daemon b1 ports='in*'
guarded() { [[ $(probe b1 guard "$1" show) == on ]]; }
for port in in1 in2 out1; do expect 5 guarded "$port"; done

# lost BRIDGE PORT COUNT: the metrics say that the port's guard was lost so often.
lost() { has "^mvrp_port_guard_lost_total\{port=\"$2\",.*\} $3\$" ctl "$1" metrics; }
# leaked: frames of others that came out of the port in2 so far; some take several lines to show.
leaked() { tcpdump -r "$scratch/in2.pcap" 2>/dev/null | grep -c '^[^[:space:]]' || true; }
# keepsBack PORT: 36 protocol frames that come in on the port leave no other.
keepsBack() {
    local before
    before=$(leaked)
    floods "$1" 36
    pause 1  # for what is on its way; nothing tells of a frame that does not come
    say "$1: $(($(leaked) - before)) of 36 frames leaked"
    (($(leaked) == before))
}
capture in2 in2 eth0 "$protocolFrames and ether src 02:00:00:00:00:01"
keepsBack out1

say 'the qdisc goes, with the guard in it: of a port that takes part, and of one that does not'
for port in in1 out1; do
    at b1 tc qdisc del dev "$port" clsact
    expect 2 guarded "$port"
    keepsBack "$port"
    expect 5 lost b1 "$port" 1
done
expect 5 has 'out1: others removed the guard' cat "$scratch/b1/log"

say 'only the filter goes'
at b1 tc filter del dev out1 ingress
expect 2 guarded out1
keepsBack out1

say 'and is changed, which a filter of the same place can be'
handle=$(at b1 tc filter show dev out1 ingress | grep -o 'handle 0x[0-9a-f]*' | cut -d ' ' -f 2)
at b1 tc filter replace dev out1 ingress pref 33 handle "$handle" protocol all flower \
    dst_mac 01:80:c2:00:00:21 action pass
expect 2 guarded out1
keepsBack out1
expect 5 lost b1 out1 3

say 'again and again: it is put back later and later'
removed() { at b1 tc qdisc del dev out1 clsact 2>/dev/null; }
for _ in 1 2 3 4; do expect 10 removed; done
expect 5 has 'out1: others remove the guard again and again .*: it is put back in [24] s' cat "$scratch/b1/log"
diagnosis() { ctl b1 doctor "$scratch/b1/mvrp.toml" || (($? == 1)); }
has '^warning: out1: others remove the guard again and again' diagnosis
expect 10 guarded out1
keepsBack out1
