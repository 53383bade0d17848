#!/usr/bin/env bash
# Shows Tavix at work: builds it, starts a broker and a service in a private temporary directory, and calls
# the service with the tool and with a client program. Installs from Debian what is missing first.
set -euo pipefail
cd "$(dirname "$0")/.."

bin=$PWD/build/release/bin
work=$(mktemp -d)
bus=
service=

# Ends what this script has started, by process id, and leaves nothing behind.
finish() {
    local status=$?
    for pid in $service $bus; do
        kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true
    done
    rm -rf "$work"
    exit "$status"
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

title() { printf '\n== %s\n\n' "$*"; }

# A command as it would be typed, its output, and its exit status when that is not 0. The first argument is the
# status that it should have; any other one ends the demonstration.
show() {
    local expected=$1 status=0
    shift
    printf '$ %s\n' "${*@Q}" | sed "s/'\([A-Za-z0-9_./-]*\)'/\1/g"
    "$@" 2>&1 || status=$?
    [ "$status" -eq 0 ] || printf '(exit status %s)\n' "$status"
    if [ "$status" -ne "$expected" ]; then
        echo "demo: this should have ended with status $expected" >&2
        exit 1
    fi
}

# Starts a program in the background and waits for its first line, which says that it is ready. Its process id
# is in $started. A program that ends without a line ends the demonstration.
start() {
    local line
    printf '$ %s &\n' "$1"
    mkfifo "$work/$1.out"
    "$1" >"$work/$1.out" &
    started=$!
    exec {output}<"$work/$1.out"
    if ! read -r line <&"$output"; then
        echo "demo: $1 does not start" >&2
        exit 1
    fi
    printf '%s\n' "$line"
}

# Ends a program that was started; its status must be 0.
stop() {
    kill "$2"
    wait "$2"
    echo "$1 has ended with status 0"
}

build() {
    cmake --preset release && cmake --build --preset release --target \
        tavix-bus tavixctl machine_service machine_client
}

scripts/setup.sh
echo "demo: building (the first time takes some minutes)"
if ! build >"$work/build.log" 2>&1; then
    cat "$work/build.log" >&2
    exit 1
fi
export PATH=$bin:$PATH QZV_RUNTIME_DIR=$work

title "A broker and a service, each a process of its own"
start tavix-bus
bus=$started
start machine_service
service=$started

title "Calls from the command line: arguments and results are JSON"
show 0 tavixctl call machine uptime
show 0 tavixctl call machine load
show 0 tavixctl call machine processes 2
show 0 tavixctl call machine list '"docs"'

title "A method that answers late, from another thread of the service"
show 0 tavixctl call machine measureLoad 0.5

title "Failures tell their cause, by text and by exit status"
show 1 tavixctl call machine list '"/no/such/directory"'
show 4 tavixctl call nobody uptime
show 5 tavixctl call --timeout 0.2 machine measureLoad 10

title "The same from a program: examples/machine/machine_client.cpp"
show 0 machine_client

title "The end: both stop at SIGTERM"
stop machine_service "$service"
service=
stop tavix-bus "$bus"
bus=
