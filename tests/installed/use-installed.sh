#!/usr/bin/env bash
# Builds each example against an installed tree, with find_package and with pkg-config, and runs it
# against the installed server. Nothing but what is installed is used.
#
# usage: use-installed.sh EXAMPLES PREFIX WORK
set -euo pipefail
examples=$1 prefix=$2 work=$3
# shellcheck source=../support/server.sh
. "$(dirname "${BASH_SOURCE[0]}")/../support/server.sh"

die() { printf 'use-installed.sh: %s\n' "$*" >&2; exit 1; }

mkdir -p "$work"
TMPDIR=$(mktemp -d /tmp/ksp-XXXXXX) # short: the path of a socket has at most 107 characters
export TMPDIR
if [ "$prefix" != /usr ]; then
    libraries=$(dirname "$(find "$prefix" -name libksproxypackage.so)")
    export PKG_CONFIG_PATH="$libraries/pkgconfig"
    cmake_prefix=(-DCMAKE_PREFIX_PATH="$prefix")
fi

trap 'stop_server; rm -rf "$TMPDIR"' EXIT

run() {
    local name=$1 program=$2 output
    output=$("$program" 2>"$work/errors") || die "$name failed: $output $(cat "$work/errors")"
    [ "$(tail -n 1 <<<"$output")" = Done. ] || die "$name does not end with \"Done.\": $output"
    [ "$(readlink "/proc/$(server_pid)/exe")" = "$(readlink -f "$prefix/bin/KVTServerMaster")" ] ||
        die "$name did not start the installed server"
    stop_server
    printf '%s: good\n' "$name"
}

for folder in "$examples"/*/; do
    [ -e "$folder/main.cpp" ] || continue
    name=$(basename "$folder")
    copy="$work/$name"
    rm -rf "$copy"
    cp -r "$folder" "$copy"

    cmake -S "$copy" -B "$copy/build" "${cmake_prefix[@]}" >/dev/null
    cmake --build "$copy/build" >/dev/null
    run "$name, with find_package" "$copy/build/$name"

    make -s -C "$copy"
    LD_LIBRARY_PATH=${libraries:-} run "$name, with pkg-config" "$copy/$name"
done

# A component that is not there is named.
mkdir -p "$work/components"
printf 'cmake_minimum_required(VERSION 3.16)\nproject(components LANGUAGES CXX)\n%s\n' \
    'find_package(KsProxy 1 REQUIRED COMPONENTS Client session)' >"$work/components/CMakeLists.txt"
! cmake -S "$work/components" -B "$work/components/build" "${cmake_prefix[@]}" >/dev/null 2>"$work/errors" ||
    die "a component that is not there is found"
grep -q 'has no component "session"' "$work/errors" || die "a component that is not there is not named"

# Each header stands on its own.
for header in "$prefix"/include/ksproxy/*.h; do
    # shellcheck disable=SC2046 # several words
    c++ -std=c++17 -fPIC -fsyntax-only -Wall -Wextra -Werror -x c++ $(pkg-config --cflags ksproxysession) \
        -include "$header" /dev/null || die "$header cannot be included alone"
done
"$prefix/bin/ksproxyctl" --version >/dev/null
printf 'headers, ksproxyctl: good\n'
