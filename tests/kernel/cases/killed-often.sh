# shows: kill -9 at a random moment of a 4094-VLAN change, 200 times
# lane: long
# limit: 14400

source "$KERNEL_TESTS/many.sh"
manyVlans
killedRounds 200
