# shows: ports of a bridge move to another network namespace and back, with the host behind them

bridge b1
bridge b2
link b1 b2
host h1 b1
ip netns add elsewhere
daemon b1 leave-all=3000
daemon b2 leave-all=3000
joins h1 10-12 mvrp
expect 10 exactly b1 h1 1,10-12
expect 10 exactly b2 b1 1,10-12

for round in 1 2 3; do
    say "round $round: away"
    ip -n b1 link set h1 netns elsewhere
    expect 10 exactly b2 b1 1
    say 'and back'
    ip -n elsewhere link set h1 netns b1
    ip -n b1 link set h1 master br0 up
    expect 10 exactly b1 h1 1,10-12
    expect 10 exactly b2 b1 1,10-12
done
