#!/usr/bin/env bash
# Makes a Debian 12 machine able to build, test and run Tavix: installs the packages that are missing and
# brings libexpat1 to the newest version of the release. Needs root or sudo, and the network, only when there
# is something to do; otherwise it says so and ends at once.
set -euo pipefail

# What the build needs (g++ brings the C compiler), then what the tests and benchmarks need besides.
packages=(
    cmake ninja-build g++ ccache pkgconf
    libglib2.0-dev nlohmann-json3-dev libcli11-dev libsmartcols-dev libexpat1-dev libsystemd-dev
    libboost-regex-dev libvalijson-dev rapidjson-dev
    libgtest-dev libgmock-dev libbenchmark-dev libzmq3-dev dbus-daemon systemd make valgrind
)

say() { printf 'setup: %s\n' "$*"; }

is_installed() {
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null || true)" = installed ]
}

# True when the package lists of this machine know a newer version of $1 than the one that is installed.
is_outdated() {
    LC_ALL=C apt-cache policy "$1" |
        awk '/^  Installed:/ { have = $2 } /^  Candidate:/ { best = $2 } END { exit !(have != "(none)" && have != best) }'
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        env DEBIAN_FRONTEND=noninteractive "$@"
    else
        sudo env DEBIAN_FRONTEND=noninteractive "$@"
    fi
}

missing=()
find_missing() {
    local package
    for package in "${packages[@]}"; do
        is_installed "$package" || missing+=("$package")
    done
}

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    say "this is no Debian machine; please install by hand what corresponds to: ${packages[*]}" >&2
    exit 1
fi

# An outdated libexpat1 is no reason to stop: it is said, and Tavix can still be built.
give_up() {
    say "$*" >&2
    if [ ${#missing[@]} -eq 0 ]; then
        say "going on with libexpat1 as it is" >&2
        exit 0
    fi
    exit 1
}

find_missing
if [ ${#missing[@]} -eq 0 ] && ! is_outdated libexpat1; then
    say "everything that Tavix needs is installed"
    exit 0
fi
if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    give_up "root or sudo is needed to install: ${missing[*]:-a newer libexpat1}"
fi

# The packages' own chatter is shown only when something fails.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
run() {
    as_root "$@" >"$log" 2>&1 || { cat "$log" >&2; give_up "failed: $*"; }
}

say "reading the package lists of Debian"
run apt-get update -qq
say "installing: ${missing[*]:-nothing new}, and libexpat1 in its newest version"
# libexpat1 is named, so that an installed older one is upgraded.
run apt-get install -y -qq --no-install-recommends libexpat1 "${missing[@]}"
say "done"
