# shows: every command of mvrpctl against a daemon on a bridge, its JSON against the schemas
# lane: long
# limit: 240

validate() { /usr/bin/python3 "$KERNEL_TESTS/../integration/validate.py" "$@"; }

# What was tried, a command line each; and the answers, by number and schema.
tried=$scratch/tried answers=$scratch/answers
mkdir "$answers"

# answers SCHEMA STATUS WORD...: `mvrpctl -j WORD...` on b1 ends with this status (* any of 0 and 1). What it
# prints is kept for the schema of that name (- for none).
answers() {
    local schema=$1 wanted=$2 status=0
    shift 2
    echo "$*" >>"$tried"
    answer=$(printf '%s/%03d.%s.json' "$answers" "$(wc -l <"$tried")" "$schema")
    MVRP_RUNTIME_DIR=$scratch/b1 at b1 "$KERNEL_BUILD/cli/mvrpctl" -j "$@" >"$answer" || status=$?
    if [[ $wanted == '*' ]]; then ((status <= 1)); else ((status == wanted)); fi || {
        cat "$answer"
        fail "mvrpctl -j $* ended with $status"
    }
}

# says PATTERN: the last answer has a line like this.
says() { grep -qE -- "$1" "$answer" || { cat "$answer"; fail "no $1"; }; }

bridge b1
bridge b2
link b1 b2
host tap0 b1
daemon b1 ports=b2 leave-all=1000
daemon b2 wire-format=ieee leave-all=1000
file=$scratch/b1/mvrp.toml
at b2 bridge vlan add dev br0 vid 30 self
at b1 bridge vlan add dev tap0 vid 40

answers wait 0 wait --port b2 --vlan 30,40 --timeout 20
answers explain 0 explain b2 30
says '"cause": "learnt"'
answers explain 0 explain b2 99
says '"cause": "notDeclared"'
answers global 0 show
says '"driver": "Linux bridge"'
answers config 0 show config
answers running 0 show running b2
says '"vlansLearnt": "30"'
answers summary 0 show summary
answers corrections 0 show corrections
answers statistics 0 show statistics
answers done 0 clear statistics b2
answers ports 0 show ports
answers ports 0 show port b2
answers vlans 0 show vlans
answers vlans 0 show vlan 30
answers state 0 show state b2
answers counters 0 show counters
answers doctor '*' doctor
answers status '*' status
answers make-static 0 make-static b2 30
answers repair 0 repair b2
answers config-apply 0 config apply
answers config-file 0 config check "$file"
answers config 0 config show
answers config-diff 0 config diff "$file"
answers config-file 0 config save "$file"
answers config-diff 0 config diff
answers log 0 log --port b2 --vlan 30
says '"event": "vlans-learnt"'
answers done 0 set port b2 registration fixed
answers config-diff 1 config diff
answers done 0 set port b2 registration normal
answers done 0 set global compliance off
answers done 0 set debug none

say 'changes as they happen, one object a line'
{
    expect 10 grep -qs snapshot "$answers"/*.watch.json
    at b1 bridge vlan add dev tap0 vid 41
} >/dev/null &
answers watch 0 watch --states --count 2 --seconds 20
says '"type":"snapshot"'
says '"type":"change"'

say 'frames, kept and read again'
answers capture 0 capture "$scratch/frames.pcap" b2 --count 2 --seconds 30
answers decode 0 decode "$scratch/frames.pcap"
says '"form": "ieee"'

say 'what only a software switch can do is refused, and what is not allowed'
answers error 1 switch vlan create 77
answers error 1 switch vlan delete 77
answers error 1 switch vlan type 30 static
answers error 1 switch vlan add-port b2 77
answers error 1 switch vlan remove-port b2 77
answers error 1 switch port link b2 down
answers error 1 switch port permit b2 2-10
answers error 1 switch port pvid b2 10
answers error 1 switch port cable b2 none
answers error 1 switch port add 99 new
answers error 1 switch port delete b2
answers error 1 switch port eligible b2 no
answers error 1 switch port aggregation b2 none
answers error 1 switch port reset b2
answers error 1 switch tunnel b2 take 01:80:c2:00:00:21
answers done 0 switch port wire-form b2 ieee
answers done 0 switch port record b2 "$scratch/record.pcap"
answers done 0 switch port record b2 none
answers error 1 switch port replay b2 "$scratch/frames.pcap" 0
answers error 1 standby take-over
answers error 1 show port nosuch
answers functions 0 debug list
answers output 0 debug call mvrpDbgGlbShow
answers reply 0 debug request 6 0 5
answers done 0 debug port all
answers done 0 debug vlan all

say 'the metrics, and what is made from the table of commands'
answers - 0 metrics --openmetrics
validate --openmetrics <"$answer"
says 'mvrp_port_vlans\{port="b2",unit="[0-9]+",state="learnt"\} 1'
answers - 0 completion bash
answers - 0 help
answers - 0 manual
manual=$answer

say 'every answer fits its schema'
checked=$(find "$answers" -name '*.json' ! -name '*.-.json' | sort | validate --files)
say "$checked documents"
((checked > 50))

say 'no command was left out'
# `.SS mvrpctl show port \fIPORT\fR`, with hyphens as troff writes them
sed -nE 's/^\.SS mvrpctl //p' "$manual" | sed -E 's/ (\[|\\f).*//; s/\\-/-/g' >"$scratch/commands"
(($(wc -l <"$scratch/commands") > 40))
awk 'FNR == NR { tried[++count] = $0 " "; next }
    {
        for (i = 1; i <= count && index(tried[i], $0 " ") != 1; ++i) {}
        if (i > count) { print "mvrpctl " $0 " is not tried"; left = 1 }
    }
    END { exit left }' "$tried" "$scratch/commands"
