# shows: the same beside the networkd of Debian 13
# debian: 13
# limit: 300
source "/host$SYSTEM_TESTS/networkd.sh"

boot1() { setUpNetworkd; }
boot2() { actOnNetworkd; }
