#!/usr/bin/env bash
# Carries out the session that README.md shows, against the server that it names.
#
# usage: run-session.sh BIN    BIN has the programs
set -euo pipefail
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
TMPDIR=$(mktemp -d /tmp/ksp-XXXXXX) # short: the path of a socket has at most 107 characters
export PATH="$1:$PATH" TMPDIR
# shellcheck source=../support/server.sh
. "$here/../support/server.sh"
trap 'stop_server; rm -rf "$TMPDIR"' EXIT

cd "$here/../.."
server=$(sed -n 's/.*after `\(KVTServerMaster .*\) &`:$/\1/p' README.md)
$server >"$TMPDIR/listening" &
timeout 30 bash -c "until grep -q listening '$TMPDIR/listening'; do sleep 0.05; done"
"$here/documents.py" session README.md >"$TMPDIR/session.txt"
"$here/console.py" "$TMPDIR/session.txt"
