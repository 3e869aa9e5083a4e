# shows: a port deleted in the middle of a 4094-VLAN change: nothing hangs, nothing is left, others stay
# lane: long
# limit: 600

source "$KERNEL_TESTS/many.sh"
manyVlans
for _ in 1 2 3 4 5; do
    declareAll
    sleep "0.$((RANDOM % 10))"  # at any moment
    ip -n b1 link del b2
    withdrawAll
    expect 20 exactly b1 h1 1,77
    link b1 b2
    untouched
done
declareAll
expect 60 exactly b1 b2 1-4094
withdrawAll
expect 60 exactly b1 b2 1,77
untouched
