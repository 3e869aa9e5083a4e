# shows: kill -9 at a random moment of a 4094-VLAN change, 3 times: the same end, others untouched
# lane: long
# limit: 400

source "$KERNEL_TESTS/many.sh"
manyVlans
killedRounds 3
