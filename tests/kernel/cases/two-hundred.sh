# shows: 200 ports with a host at each: all VLANs are complete within seconds and stay, and how much the daemon does at rest
# lane: long
# limit: 400

hosts=200
bridge b1
for ((n = 1; n <= hosts; n++)); do
    host "h$n" b1
    joins "h$n" "10,$((1000 + n))" mvrp
done

# wrong: how many of the hosts' ports have other entries than theirs.
wrong() {
    picture b1 | awk '/^h[0-9]/ { n = substr($1, 2) + 0; if ($2 != "1,10," 1000 + n) wrong++ } END { print wrong + 0 }'
}
complete() { (($(wrong) == 0)); }
# worked: milliseconds that the daemon has had of the processor, all its threads.
worked() { cat /proc/"$(pidOf b1)"/task/*/schedstat | awk '{ sum += $1 } END { printf "%d\n", sum / 1000000 }'; }

plainDaemon b1
started=$EPOCHREALTIME
expect 5 complete
say "complete $(((${EPOCHREALTIME/./} - ${started/./}) / 1000)) ms after the daemon answered, at most 5000 wanted"

say 'two rounds of LeaveAll of each port and of each host'
steady 30 complete

before=$(worked)
pause 30
share=$((($(worked) - before) / 30))
say "at rest, with a PDU a second from each host: $((share / 10)).$((share % 10)) % of the processor, at most 2 wanted"
expect 5 complete
ctl b1 show statistics h1 | head -n 9
