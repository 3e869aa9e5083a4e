# shows: beside networkd, which makes the bridge: one start at boot, and outages over whatever networkd is told to do
# limit: 300
source "/host$SYSTEM_TESTS/networkd.sh"

boot1() { setUpNetworkd; }
boot2() { actOnNetworkd; }
