#!/usr/bin/env bash
# Shows Tavix at work: builds it, starts a broker in a private temporary directory, and calls and observes a
# service, which the broker starts, with the tool and with client programs. Installs from Debian what is missing
# first.
set -euo pipefail
cd "$(dirname "$0")/.."

bin=$PWD/build/release/bin
work=$(mktemp -d)
bus=
watcher=

# Ends what this script has started, by process id, and leaves nothing behind. The service ends with the bus.
finish() {
    local status=$?
    for pid in $watcher $bus; do
        kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true
    done
    rm -rf "$work"
    exit "$status"
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

title() { printf '\n== %s\n\n' "$*"; }

# A command as it would be typed.
spell() { printf '%s' "${*@Q}" | sed "s/'\([A-Za-z0-9_.\/-]*\)'/\1/g"; }

# A command, its output, and its exit status when that is not 0. The first argument is the status that it should
# have; any other one ends the demonstration.
show() {
    local expected=$1 status=0
    shift
    printf '$ %s\n' "$(spell "$@")"
    "$@" 2>&1 || status=$?
    [ "$status" -eq 0 ] || printf '(exit status %s)\n' "$status"
    [ "$status" -eq "$expected" ] || fail "this should have ended with status $expected"
}

fail() {
    echo "demo: $*" >&2
    exit 1
}

# Starts a command in the background and waits for the line with the word in $1, which says that it is ready.
# Its process id is in $started, what it says later comes from the descriptor $output. A program that ends
# without that line ends the demonstration.
start() {
    local ready=$1 line said=
    shift
    printf '$ %s &\n' "$(spell "$@")"
    mkfifo "$work/$1.out"
    "$@" >"$work/$1.out" 2>&1 &
    started=$!
    exec {output}<"$work/$1.out"
    while read -r line <&"$output"; do
        said+=$line$'\n'
        if [[ $line == *$ready* ]]; then
            printf '%s\n' "$line"
            return
        fi
    done
    fail "$1 does not start: $said"
}

# The process that serves an object, as the bus knows it.
process_of() { tavixctl list --long | sed -n "s/^$1 .* pid=\([0-9]*\) .*/\1/p"; }

build() {
    cmake --preset release && cmake --build --preset release --target \
        tavix-bus tavixctl machine_service machine_client first_observer
}

scripts/setup.sh
echo "demo: building (the first time takes some minutes)"
if ! build >"$work/build.log" 2>&1; then
    cat "$work/build.log" >&2
    exit 1
fi
export PATH=$bin:$PATH QZV_RUNTIME_DIR=$work

title "A broker, and a file that says which program provides the object \"machine\""
mkdir "$work/activation"
printf '{"name": "machine", "exec": "%s/machine_service"}\n' "$bin" >"$work/activation/machine.json"
show 0 cat "$work/activation/machine.json"
start serving tavix-bus --activation-dir "$work/activation"
bus=$started

title "The first call starts the service"
show 0 tavixctl list
show 0 tavixctl call machine uptime
show 0 tavixctl list --long

title "Calls from the command line: arguments and results are JSON"
show 0 tavixctl describe machine
show 0 tavixctl call machine load
show 0 tavixctl call machine processes 2
show 0 tavixctl call machine list '"docs"'

title "An open file goes along with a call, and the service writes into it"
show 0 tavixctl call --fd "to=$work/report:w" machine report
show 0 cat "$work/report"

title "A method that answers late, from another thread of the service"
show 0 tavixctl call machine measureLoad 0.5

title "Events: the service sends one a second, while somebody observes it"
show 0 tavixctl observe machine load --count 3

title "Failures tell their cause, by text and by exit status"
show 1 tavixctl call machine list '"/no/such/directory"'
show 4 tavixctl call nobody uptime
show 5 tavixctl call --timeout 0.2 machine measureLoad 10

title "The same from programs: examples/machine/machine_client.cpp and examples/first_observer.cpp"
show 0 machine_client
show 0 first_observer

title "The service stops, and the next call starts it again"
start watching tavixctl watch --count 1
watcher=$started
service=$(process_of machine)
show 0 kill "$service"
wait "$watcher"
watcher=
read -r line <&"$output"
printf '%s\n' "$line"
show 0 tavixctl list
show 0 tavixctl call machine uptime
[ "$(process_of machine)" -ne "$service" ] || fail "it has not been started again"

title "The end: the broker stops at SIGTERM, and the service with it"
kill "$bus"
wait "$bus"
bus=
echo "tavix-bus has ended with status 0"
