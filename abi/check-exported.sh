#!/usr/bin/env bash
# Compares what each library exports with its list, abi/<library>.map.
#
# usage: check-exported.sh FOLDER    the folder with the libraries
set -euo pipefail
folder=$1
here=$(dirname "${BASH_SOURCE[0]}")
result=0
for map in "$here"/*.map; do
    library="$folder/$(basename "$map" .map).so"
    listed=$(sed -n 's/^ *"\(.*\)";$/\1/p' "$map" | sort)
    exported=$(nm --dynamic --demangle --defined-only "$library" | cut -c 20- | sort -u)
    if ! difference=$(diff <(echo "$listed") <(echo "$exported")); then
        printf '%s: listed (<) and exported (>) differ:\n%s\n' "$library" "$difference" >&2
        result=1
    fi
    printf '%s: %s\n' "$(basename "$library")" "$(wc -l <<<"$exported")"
done
exit $result
