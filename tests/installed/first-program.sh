#!/usr/bin/env bash
# Does what docs/getting-started.md says, with an installation that the compiler finds, and compares what is printed
# with what the page shows.
#
# usage: first-program.sh FOLDER    FOLDER has the pieces of the page
set -euo pipefail
folder=$(realpath "$1")
TMPDIR=$(mktemp -d /tmp/ksp-XXXXXX) # short: the path of a socket has at most 107 characters
export TMPDIR
here=$(dirname "${BASH_SOURCE[0]}")
# shellcheck source=../support/server.sh
. "$here/../support/server.sh"
trap 'stop_server; rm -rf "$TMPDIR"' EXIT

cd "$folder"
shown=$(grep -v '^\$ ' session.txt)
while read -r command; do
    printed=$(bash -ec "$command" 2>&1) || { printf '%s\n' "$printed" >&2; exit 1; }
done < <(sed -n 's/^\$ //p' session.txt)
[ "$printed" = "$shown" ] || { printf 'shown:\n%s\nprinted:\n%s\n' "$shown" "$printed" >&2; exit 1; }
stop_server

bash -e pkg-config.sh
printed=$(QT_LOGGING_RULES=default.debug=false ./first 2>&1)
[ "$printed" = "$shown" ] || { printf 'shown:\n%s\nprinted:\n%s\n' "$shown" "$printed" >&2; exit 1; }
printf 'the first program: good\n'
