# shows: what is set at run time is kept by the names of the ports, and can be saved as rules
# limit: 180

# The file and what runs, whether they differ or not.
compared() { ctl b1 config diff || true; }
registrationIs() { has "tap0 +registration +normal +$1" compared; }
settings=$scratch/b1/settings
file=$scratch/b1/mvrp.toml

bridge b1
bridge b2
link b1 b2
host tap0 b1
daemon b1
daemon b2
stopDaemon b1
printf '\n[store]\nfile = "%s"\n' "$settings" >>"$file"
startDaemon b1
ctl b1 set port tap0 registration forbidden
ctl b1 set port b2 join-time 300
expect 10 has '^40a8002 tap0 3$' cat "$settings"

say 'a restart has it, and so has a port that comes again'
stopDaemon b1
startDaemon b1
expect 10 registrationIs forbidden
expect 10 has 'b2 +join-time +200 +300' compared
at b1 ip link set tap0 nomaster
expect 10 hasNot tap0 ctl b1 show ports
at b1 ip link set tap0 master br0
expect 10 registrationIs forbidden

say 'what is shown and saved is a right file, with a rule for each of the two before all others'
ctl b1 config show >"$scratch/shown.toml"
"$KERNEL_BUILD/platform/host/mvrp" --check --config "$scratch/shown.toml"
ctl b1 config save
cmp "$file" "$scratch/shown.toml"
has 'What runs is what the file says' compared
(($(grep -c '^name = ' "$file") == 3))

say 'what a file sets otherwise than before leaves the store, and all else stays'
ctl b1 config apply
expect 10 hasNot 'b2|tap0' cat "$settings"
ctl b1 set port b2 join-time 250
sed -i 's/^registration = "forbidden"/registration = "fixed"/' "$file"
ctl b1 config apply
has '^40a8005 b2 250$' cat "$settings"
expect 10 has 'b2 +join-time +300 +250' compared
hasNot tap0 compared
stopDaemon b1
startDaemon b1
expect 10 has 'b2 +join-time +300 +250' compared
hasNot tap0 compared
