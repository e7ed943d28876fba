#!/usr/bin/env bash
# Puts another build of libksproxyclient in place by the loader's path, and shows that the session uses it.
#
# usage: check.sh PROGRAM FOLDER SERVER    examples/session; the folder of the other build; a server
set -euo pipefail
server=$3
TMPDIR=$(mktemp -d /tmp/ksp-XXXXXX) # short: the path of a socket has at most 107 characters
export TMPDIR
# As docs/compatibility.md says.
command=$("$(dirname "${BASH_SOURCE[0]}")/../documents/documents.py" shell docs/compatibility.md)
command=${command/\/opt\/product\/lib/"${2@Q}"}
command=${command/build\/first/"${1@Q}"}
# shellcheck source=../support/server.sh
. "$(dirname "${BASH_SOURCE[0]}")/../support/server.sh"
trap 'stop_server; rm -rf "$TMPDIR"' EXIT

die() { printf 'check.sh: %s\n' "$*" >&2; exit 1; }

if output=$(REPLACEMENT_SERVER=/of/the/replacement bash -c "$command"); then
    die "the session opened without a server"
fi
grep -q '"/of/the/replacement" cannot be started' <<<"$output" ||
    die "the session did not ask the other build: $output"
output=$(REPLACEMENT_SERVER=$server bash -c "$command") || die "the session failed: $output"
[ "$(tail -n 1 <<<"$output")" = Done. ] || die "the session failed: $output"
