# shows: others take a VLAN away again and again: doctor says so, and mvrpctl repair puts it back at once
# lane: long
# limit: 180

bridge b1
bridge b2
link b1 b2
host h1 b1
daemon b1
daemon b2
joins h1 10-11 mvrp
expect 10 exactly b1 h1 1,10-11
expect 10 exactly b2 b1 1,10-11

# diagnosis: findings are no failure here.
diagnosis() { ctl b1 doctor "$scratch/b1/mvrp.toml" || (($? == 1)); }
takesAway() {
    at b1 bridge vlan del dev h1 vid 10
    expect 5 carries b1 h1 10
}
for _ in 1 2 3 4; do takesAway; done
say 'now it is put back later and later'
for pause in 1 2 4; do
    at b1 bridge vlan del dev h1 vid 10
    expect $((pause + 3)) carries b1 h1 10
done
at b1 bridge vlan del dev h1 vid 10
steady 2 lacks b1 h1 10
expect 3 has '^error: h1: learnt, and not on the port: 10' diagnosis
# shellcheck disable=SC2046  # words
ctl b1 $(diagnosis | grep -o 'repair h1' | head -n 1)
expect 1 exactly b1 h1 1,10-11
expect 5 has '^Nothing found' diagnosis

say 'and it asks: the neighbours declare again, and nothing is lost by it'
ctl b1 repair b2,h1
steady 3 exactly b1 h1 1,10-11
exactly b2 b1 1,10-11
has 'MVRP is off there' refuses ctl b1 repair lo || refuses ctl b1 repair nowhere
