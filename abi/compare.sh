#!/usr/bin/env bash
# Compares two sets of descriptions of the libraries. What is added is allowed; anything else needs a new major
# version, which shows in the SONAME.
#
# usage: compare.sh BEFORE NOW    folders with the descriptions
set -euo pipefail
export LC_ALL=C # layouts.py and comm must agree on the order
here=$(dirname "${BASH_SOURCE[0]}")
before=$1 now=$2
result=0

major_version() { sed -n "s/.* soname='[^']*\.so\.\([0-9]*\)'.*/\1/p" "$1" | head -n 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What stood in the one description and does not stand in the other; also where that cannot be told.
has_lost_layouts() {
    "$here/layouts.py" "$before/$1.abi" >"$work/before" || return 0
    "$here/layouts.py" "$now/$1.abi" >"$work/now" || return 0
    comm -23 "$work/before" "$work/now" | grep .
}

for description in "$before"/*.abi; do
    name=$(basename "$description" .abi)
    was=$(major_version "$description")
    is=$([ ! -e "$now/$name.abi" ] || major_version "$now/$name.abi")
    if [ -z "$is" ]; then
        printf '%s: the library, or its SONAME, is gone\n' "$name" >&2
        result=1
    elif [ "$is" -gt "$was" ]; then
        printf '%s: a new major version, not compared\n' "$name"
    elif ! abidiff --no-added-syms "$description" "$now/$name.abi" || has_lost_layouts "$name"; then
        printf '%s: the binary face has changed, which needs a new major version\n' "$name" >&2
        result=1
    fi
done
exit $result
