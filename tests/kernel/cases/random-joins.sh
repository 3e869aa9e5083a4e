# shows: hosts on three bridges join and leave at random; at rest right, extra and missing memberships are counted
# lane: long
# limit: 300

for name in b1 b2 b3; do bridge "$name"; done
link b1 b2
link b2 b3
for n in 1 2 3; do
    host "h$n" "b$n"
    host "k$n" "b$n"
done
for name in b1 b2 b3; do daemon "$name" leave-all=4000; done

seed=${RANDOM_SEED:-20261122}
RANDOM=$seed
say "seed $seed"
declare -A has=()   # "HOST VLAN": it declares that
step() {
    local host=$1 vid=$((100 + RANDOM % 40))
    if [[ -n ${has["$host $vid"]:-} ]]; then
        echo "link del v$vid"
        unset "has[$host $vid]"
    else
        printf 'link add link eth0 name v%s type vlan id %s mvrp on\nlink set v%s up\n' "$vid" "$vid" "$vid"
        has["$host $vid"]=yes
    fi
}
for _ in $(seq 12); do
    for host in h1 k1 h2 k2 h3 k3; do
        for _ in $(seq 4); do step "$host"; done >"$scratch/steps"
        ip -n "$host" -batch "$scratch/steps"
    done
done

# of HOST...: what these hosts declare, as `vlansOf` shows it on a port that leads to them.
of() {
    local key vids=(1)
    for key in "${!has[@]}"; do
        [[ " $* " == *" ${key% *} "* ]] && vids+=("${key#* }")
    done
    ranges "${vids[@]}"
}
wanted() {
    printf '%s\n' "b1 h1 $(of h1)" "b1 k1 $(of k1)" "b1 b2 $(of h2 k2 h3 k3)" \
        "b2 h2 $(of h2)" "b2 k2 $(of k2)" "b2 b1 $(of h1 k1)" "b2 b3 $(of h3 k3)" \
        "b3 h3 $(of h3)" "b3 k3 $(of k3)" "b3 b2 $(of h1 k1 h2 k2)"
}
wanted >"$scratch/wanted"
# counts: right, extra and missing memberships of all ports, against what is declared.
counts() {
    local bridge port list vid right=0 extra=0 missing=0
    local -A is
    while read -r bridge port list; do
        is=()
        for vid in $(numbers "$(vlansOf "$bridge" "$port")"); do is[$vid]=yes; done
        for vid in $(numbers "$list"); do
            if [[ -n ${is[$vid]:-} ]]; then right=$((right + 1)); else missing=$((missing + 1)); fi
            unset "is[$vid]"
        done
        extra=$((extra + ${#is[@]}))
    done <"$scratch/wanted"
    echo "$right right, $extra extra, $missing missing"
}
allRight() { [[ $(counts) == *' right, 0 extra, 0 missing' ]]; }
say "right after the last change: $(counts)"
expect 20 allRight
say "at rest: $(counts)"
steady 9 allRight
say 'everybody leaves'
for host in h1 k1 h2 k2 h3 k3; do
    declared=$(of "$host")
    if [[ $declared != 1 ]]; then leaves "$host" "${declared#1,}"; fi
done
has=()
wanted >"$scratch/wanted"
expect 20 allRight
