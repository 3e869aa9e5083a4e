# shows: the daemon is killed and restarted while hosts join and leave: at rest it is as if nothing had happened
# lane: long
# limit: 240

bridge b1
bridge b2
link b1 b2
host h1 b1
host h2 b1
daemon b1 leave-all=3000
daemon b2 leave-all=3000
joins h1 10 mvrp
joins h2 10 mvrp
expect 10 carries b2 b1 10
ip -n h1 addr add 10.0.0.1/24 dev v10
ip -n h2 addr add 10.0.0.2/24 dev v10
probes kept h1 h2 10

# Ten rounds of thirty VLANs each, of which every third stays.
churn() {
    local round
    for round in $(seq 1 10); do
        joins h1 "$((round * 100))-$((round * 100 + 29))" mvrp
        pause 0.3
        leaves h1 "$((round * 100))-$((round * 100 + 19))"
    done
}
churn &
job=$!
for end in killed restarted killed restarted; do
    pause 1.3
    if [[ $end == killed ]]; then
        killDaemon b1
    else
        kill -USR1 "$(pidOf b1)"
        wait "${daemonJob[b1]}"
    fi
    startDaemon b1
done
wait "$job"
stay=1,10$(for round in $(seq 1 10); do printf ',%d-%d' $((round * 100 + 20)) $((round * 100 + 29)); done)
expect 20 exactly b1 h1 "$stay"
expect 20 exactly b2 b1 "$stay"
exactly b1 h2 1,10
probed kept
