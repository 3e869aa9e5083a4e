# shows: links, VLAN entries, changes and notifications as the kernel really tells them

bridge b1
host h1 b1
host h2 b1

has '^link br0 bridge vlan-aware up' probe b1 links
has '^link h1 up carrier port-of br0 stp 3$' probe b1 links

probe b1 events >"$scratch/events" &
expect 10 grep -q watching "$scratch/events"
events() { tail -n +"$((seen + 1))" "$scratch/events" | grep -qE "$1"; }
next() { seen=$(wc -l <"$scratch/events"); }

say 'ranges, single VLANs and gaps in one request'
next
probe b1 add h1 10-20,30,40-41,4094
expect 10 exactly b1 h1 1,10-20,30,40-41,4094
expect 10 events '^vlans h1 1,10-20,30,40-41,4094 untagged 1 pvid 1$'
exactly b1 h2 1
has '^vlans h1 1,10-20,30,40-41,4094 untagged 1 pvid 1$' probe b1 vlans

say 'adding what is there and removing what is not succeed'
probe b1 add h1 10-12
next
probe b1 remove h1 12-35,50
expect 10 exactly b1 h1 1,10-11,40-41,4094
expect 10 events '^vlans h1 1,10-11,40-41,4094 '

say 'all VLANs, and every second one: the longest lists'
probe b1 add h2 2-4094
expect 10 exactly b1 h2 1-4094
odd=$(seq -s , 3 2 4093)
next
probe b1 remove h2 "$odd"
[[ $(vlansOf b1 h2 | tr ',' '\n' | grep -c '') == 2047 ]]
expect 10 events '^vlans h2 many untagged 1 pvid 1$'
[[ $(probe b1 vlans | grep -c '^vlans h2 many') == 1 ]]

say 'what others change'
next
at b1 bridge vlan add dev h1 vid 77 untagged pvid
expect 10 events '^vlans h1 .*,77,.* untagged 1,77 pvid 77$'
next
at b1 bridge vlan del dev h1 vid 40
expect 10 events '^vlans h1 1,10-11,41,77,4094 '
next
ip -n b1 link set br0 type bridge vlan_default_pvid 5
expect 10 events '^vlans h2 many untagged 5 pvid 5$'

say 'links: down, renamed, out of the bridge, back, gone, a bridge that is not VLAN-aware'
next
ip -n h2 link set eth0 down
expect 10 events '^link h2 up port-of br0 stp 0$'
ip -n h2 link set eth0 up
expect 10 events '^link h2 up carrier port-of br0 stp 3$'
next
rename b1 h1 renamed
expect 10 events '^link renamed up carrier port-of br0'
next
ip -n b1 link set renamed nomaster
expect 10 events '^left renamed$'
expect 10 events '^link renamed up carrier$'
next
ip -n b1 link set renamed master br0
expect 10 events '^link renamed up carrier port-of br0 stp 3$'
expect 10 events '^vlans renamed 5 untagged 5 pvid 5$'
next
ip -n b1 link del renamed
expect 10 events '^gone renamed$'
next
ip -n b1 link set br0 type bridge vlan_filtering 0
expect 10 events '^link br0 bridge up'
next
ip -n b1 link del br0
expect 10 events '^left h2$'
expect 10 events '^gone br0$'
refuses probe b1 add h2 10
