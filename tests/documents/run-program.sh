#!/usr/bin/env bash
# Runs a program of a document, which has the device server started.
#
# usage: run-program.sh PROGRAM
set -euo pipefail
# Short: the path of a socket has at most 107 characters.
TMPDIR=$(mktemp -d /tmp/ksp-XXXXXX)
export TMPDIR
# shellcheck source=../support/server.sh
. "$(dirname "${BASH_SOURCE[0]}")/../support/server.sh"
trap 'stop_server; rm -rf "$TMPDIR"' EXIT
timeout 60 "$1"
