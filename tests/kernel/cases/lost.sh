# shows: more notifications than there is room for: the loss is told, and what is left of them is not

bridge b1
host h1 b1
probe b1 add h1 "$(seq -s , 2 2 4092)"   # the longest list, so that a notification is 17 KB
probe b1 events >"$scratch/events" &
expect 5 grep -q watching "$scratch/events"
pid=$(pgrep -f 'kernel-probe events')

kill -STOP "$pid"
for _ in $(seq 500); do
    echo "vlan add dev h1 vid 4094"
    echo "vlan del dev h1 vid 4094"
done | at b1 bridge -batch -
at b1 bridge vlan add dev h1 vid 4093
kill -CONT "$pid"
expect 10 grep -q '^lost$' "$scratch/events"
nothingElse() { [[ $(grep -c '^lost$' "$scratch/events") == 1 && $(tail -n 1 "$scratch/events") == lost ]]; }
steady 1 nothingElse

say 'and goes on'
at b1 bridge vlan del dev h1 vid 2-4092
expect 5 grep -q '^vlans h1 1,4093 untagged 1 pvid 1$' "$scratch/events"
