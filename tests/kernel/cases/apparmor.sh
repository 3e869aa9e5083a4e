# shows: the AppArmor profile of the package lets the daemon do its work, and nothing else, even as root

program=$KERNEL_BUILD/platform/host/mvrp
mount -t securityfs security /sys/kernel/security
mkdir -p /run/mvrp "$scratch/outside"
echo 'keep this' >"$scratch/outside/secret"
denied() { dmesg | grep -c 'apparmor="DENIED"' || true; }

bridge b1
ip -n b1 link set lo up
host h1 b1
host h2 b1
unit=$(ip -n b1 -o link show h1 | cut -d: -f1)
# As bad as it gets: root, and requests may name any file.
cat >/run/mvrp/mvrp.toml <<END
[switch]
driver = "linux"
bridge = "br0"
[command]
directories = ["/"]
[process]
keep-root = true
[metrics]
listen = "127.0.0.1:9620"
[[port]]
name = "*"
mvrp = true
END

# begin [COMMAND...]: the daemon, below a command that starts it; `end` ends it.
begin() {
    MVRP_RUNTIME_DIR=/run/mvrp at b1 "$@" "$program" --config /run/mvrp/mvrp.toml >>"$scratch/log" 2>&1 &
    running=$!
    expect 30 ask show >/dev/null
}
end() {
    kill -TERM "$(pgrep -f 'platform/host/mvrp --config /run/mvrp/mvrp.toml')"
    wait "$running"
}
ask() { MVRP_RUNTIME_DIR=/run/mvrp at b1 "$KERNEL_BUILD/cli/mvrpctl" "$@" 2>&1; }
# record FILE: by its path, which the daemon opens. A program as others write it, not mvrpctl.
record() {
    at b1 /usr/bin/python3 - "$unit" "$1" <<'END'
import socket
import struct
import sys

line = socket.socket(socket.AF_UNIX)
line.connect("/run/mvrp/mvrpcmd.socket")
value = struct.pack("=III6s2s512s256s", 13, int(sys.argv[1]), 0, b"", b"", b"", sys.argv[2].encode())
line.sendall(struct.pack("=4I", 288, 1, 0, len(value)) + value)
status, length = struct.unpack("=2I", line.recv(8, socket.MSG_WAITALL))
print(line.recv(length).decode())
sys.exit(status != 0)
END
}

metrics() { at b1 bash -c 'exec 3<>/dev/tcp/127.0.0.1/9620; printf "GET /metrics HTTP/1.0\r\n\r\n" >&3; cat <&3'; }

say 'without the profile such a daemon writes where it is told'
begin
record "$scratch/outside/new"
record ''
[[ -s $scratch/outside/new ]]
end

say 'with it, it does its work'
sed "s|/usr/sbin/mvrp mr|$program mr|; s|/usr/libexec/mvrp/mvrp-exporter mrix|$program-exporter mrix|" \
    "$KERNEL_TESTS/../../packaging/apparmor/mvrp" >"$scratch/profile"
apparmor_parser --replace --skip-cache "$scratch/profile"
before=$(denied)
begin aa-exec --profile mvrp --
[[ $(cat "/proc/$(pgrep -f 'platform/host/mvrp --config /run/mvrp/mvrp.toml')/attr/current") == 'mvrp (enforce)' ]]
joins h1 10-12 mvrp
expect 10 exactly b1 h1 1,10-12
has 'ports' ask -j show ports
ask switch port record h1 "$scratch/outside/mine.pcap"
joins h1 13 mvrp
expect 10 exactly b1 h1 1,10-13
ask switch port record h1 ''
[[ -s $scratch/outside/mine.pcap ]]
record /run/mvrp/own.pcap
record ''
expect 20 has '^mvrp_enabled 1' metrics
has '^mvrp .enforce.' cat "/proc/$(pgrep -f 'mvrp-exporter --listen')/attr/current"
# As the unit does it, with the profile as well.
at b1 aa-exec --profile mvrp -- /bin/kill -HUP "$(pgrep -f 'platform/host/mvrp --config /run/mvrp/mvrp.toml')"
expect 5 has 'was read again' cat "$scratch/log"
has 'ports' ask -j show ports
[[ $(denied) == "$before" ]] || { dmesg | grep DENIED && fail 'the profile denies what the daemon needs'; }

say 'and nothing else'
refuses record "$scratch/outside/secret"
refuses record "$scratch/outside/newer"
refuses record /etc/mvrp-new
[[ $(<"$scratch/outside/secret") == 'keep this' && ! -e $scratch/outside/newer && ! -e /etc/mvrp-new ]]
has 'DENIED.*name="/etc/mvrp-new"' dmesg
refuses aa-exec --immediate --profile mvrp -- /bin/true
has 'operation="exec" .*profile="mvrp"' dmesg
end
rm -r /run/mvrp
