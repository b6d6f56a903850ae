# shellcheck shell=bash
# shellcheck disable=SC2154 # build is run's
# Two elements in namespaces, joined by a link, each with an agent; sourced by run, whose variables it uses.

more_settings=${more_settings-} # for the configuration of each agent, where ELEMENT is its name
folder=$(mktemp -d)
timeline=$folder/timeline
agents=()
cleanup() {
    local agent
    for agent in "${agents[@]}"; do
        kill "$agent" 2>/dev/null || true
    done
    wait
    rm -rf "$folder"
}
trap cleanup EXIT

step() {
    echo
    echo "$@"
}

inside() { ip netns exec "$@"; }

# The agent of an element: servo and intervals for a lock within seconds, without hardware, the machine's clock untouched.
start_agent() {
    local element=$1
    mkdir -p "$folder/$element"
    cat >"$folder/$element.toml" <<TOML
runtime_directory = "$folder/$element"
state_directory = "$folder/$element"

[[control_plane]]
listen = "unix:$folder/$element/control"

[observation]
poll_ms = 200

[holdover]
lock_bound_ns = 50_000
lock_time_ns = 1_000_000_000

[daemon.options]
time_stamping = "software"
step_threshold = 0.0
first_step_threshold = 0.0
pi_proportional_const = 0.7
pi_integral_const = 0.3
${more_settings//ELEMENT/$element}
TOML
    # A process of its own without a shell before it, so that the signal at the end reaches it.
    LD_PRELOAD=$build/lib/libstill_clock.so ip netns exec "$element" setpriv --bounding-set -sys_time \
        "$build/bin/ptp_agent" \
        --config "$folder/$element.toml" >"$folder/$element.log" 2>&1 &
    agents+=($!)
    wait_until 5 test -S "$folder/$element/control" || fail "the agent of $element did not start" "$folder/$element.log"
}

fail() {
    echo "demo: $1" >&2
    [[ -z ${2-} ]] || tail -n 20 "$2" >&2
    exit 1
}

# wait_until SECONDS COMMAND...: runs it until it succeeds.
wait_until() {
    local tries=$(($1 * 10))
    shift
    until "$@" 2>/dev/null; do
        ((tries-- > 0)) || return 1
        sleep 0.1
    done
}

# Sends configurations of examples/clocks to an element's agent.
send() {
    local element=$1
    shift
    "$build/bin/ptpcfg" send "unix:$folder/$element/control" "${@/#/examples/clocks/}"
}

# Finds the first new line of the timeline that matches, and how many lines that is from the last.
find_line() {
    passed=$(tail -n "+$((seen + 1))" "$timeline" | grep -n -m 1 -E "$1" | cut -d: -f1)
    [[ -n $passed ]]
}

# wait_for PATTERN SECONDS: a line of the timeline that comes after those that were waited for before.
seen=0
wait_for() {
    wait_until "$2" find_line "$1" || fail "within $2 s the timeline had no line with: $1" "$folder/boundary.log"
    tail -n "+$((seen + 1))" "$timeline" | head -n "$passed"
    seen=$((seen + passed))
}

link() { inside grandmaster ip link set ptp0 "$1"; }

mount -t tmpfs none /run
ip netns add grandmaster
ip netns add boundary
ip link add ptp0 netns grandmaster type veth peer name ptp0 netns boundary
for element in grandmaster boundary; do
    inside "$element" ip link set lo up
    inside "$element" ip link set ptp0 up
    start_agent "$element"
done
# It ends with its input, which stays open as long as this script.
mkfifo "$folder/input"
exec 9<>"$folder/input"
"$build/bin/demo_timeline" grandmaster=unix:"$folder/grandmaster/control" boundary=unix:"$folder/boundary/control" \
    >"$timeline" 2>&1 <&9 &
agents+=($!)
