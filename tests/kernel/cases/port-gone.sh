# shows: what was registered at a port that goes, permitted there or not, is declared nowhere else any more
# limit: 180

bridge b1
host h1 b1
host h2 b1
# declares PORT VLANS: exactly these are declared there.
declares() { has "\"vlansDeclared\": \"$2\"" ctl b1 -j show port "$1"; }

for set in all none; do
    daemon b1 permit=1-29 leave-all=60000 corrections=$set
    expect 5 declares h2 1
    for how in 'link del h1' 'link set h1 nomaster'; do
        say "corrections $set, a port that goes: $how"
        joins h1 10-12,30-40 mvrp
        expect 10 carries b1 h1 10
        # By the exact rules what is not permitted is registered and declared all the same.
        declared=1,10-12
        [[ $set == all ]] || declared+=,30-40
        expect 10 declares h2 $declared
        # shellcheck disable=SC2086  # words
        ip -n b1 $how
        expect 5 declares h2 1
        steady 2 declares h2 1
        ip -n b1 link del h1 2>/dev/null || true
        ip netns del h1
        host h1 b1
    done
    stopDaemon b1
done
