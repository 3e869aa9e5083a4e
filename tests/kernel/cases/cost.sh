# shows: 1024 VLANs on each of 48 ports, in batches of 50, take the driver at most 1.5 times what bare requests take
# lane: long
# limit: 600

bridge b1 vlan_default_pvid 0
for number in {1..48}; do
    ip -n b1 link add "p$number" type dummy
    ip -n b1 link set "p$number" master br0 up
done
at b1 "$KERNEL_BUILD/tests/kernel/kernel-change-cost" br0 "$scratch/ledger" 4 p{1..48}
