# shows: docs/linux-guide.md, command by command
# lane: long
# limit: 120

guide=$KERNEL_TESTS/../../docs/linux-guide.md
dir=$scratch/b1

# blocks LANGUAGE: what stands in the guide's blocks of a language.
blocks() { awk -v begin="\`\`\`$1" '$0 == begin { on = 1; next } /^```/ { on = 0 } on' "$guide"; }

# onSwitch LINE: runs a line of the guide on b1, with the programs of this build.
onSwitch() {
    at b1 env MVRP_RUNTIME_DIR="$dir" \
        PATH="$KERNEL_BUILD/platform/host:$KERNEL_BUILD/cli:$PATH" bash -ec "$1"
}

# perform LINE
perform() {
    local line=${1//\/etc\/mvrp/$dir} status=0
    say "$line"
    case $line in
        MVRP_RUNTIME_DIR=*) startDaemon b1 ;;
        'kill -TERM DAEMON') stopDaemon b1 ;;
        # The other switch has just begun to speak, so that there may be something to say of it.
        'mvrpctl doctor')
            onSwitch "$line" || status=$?
            ((status <= 1))
            ;;
        *) onSwitch "$line" ;;
    esac
    case $line in
        'bridge vlan add dev tap0 vid 30') expect 5 exactly b1 eth1 1,30 && expect 10 exactly b2 b1 1,30 ;;
        'ip link set dev br0.31 up') expect 5 exactly b1 eth1 1,31 && expect 10 exactly b2 b1 1,31 ;;
        'bridge vlan del dev br0 vid 31 self') expect 5 exactly b1 eth1 1 ;;
        'bridge vlan del dev tap0 vid 30') expect 5 exactly b1 eth1 1 && expect 30 exactly b2 b1 1 ;;
    esac
}

# The guide begins with two interfaces and no bridge; behind eth1 is a switch that speaks MVRP.
ip netns add b1
ip -n b1 link set lo up
bridge b2
wire b1 eth1 b2 b1
ip -n b2 link set b1 master br0
ip netns add vm
wire b1 tap0 vm eth0
daemon b2

mkdir -p "$dir"
chmod 777 "$dir"
blocks toml >"$dir/mvrp.toml"
blocks sh >"$scratch/lines"
mapfile -t lines <"$scratch/lines"
((${#lines[@]} > 20))
for line in "${lines[@]}"; do [[ -z $line ]] || perform "$line"; done

exactly b1 eth1 1
hasNot clsact at b1 tc qdisc show
