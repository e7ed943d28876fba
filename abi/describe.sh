#!/usr/bin/env bash
# Writes abi/<library>.abi, the binary face of each library as `./dev check` compares it with later ones. To be run
# when a version is released, in the commit that raises it.
#
# usage: describe.sh BUILD [FOLDER]    a build tree with debug information; where they go, else beside this script
set -euo pipefail
build=$1
here=$(dirname "${BASH_SOURCE[0]}")
folder=${2:-$here}
headers=$(mktemp -d)
trap 'rm -rf "$headers"' EXIT
# Types that no installed header declares are nobody's business.
DESTDIR=$headers cmake --install "$build" --component Development --prefix / >/dev/null
for map in "$here"/*.map; do
    name=$(basename "$map" .map)
    abidw --suppressions "$here/suppressions.ini" --headers-dir "$headers/include" --drop-private-types \
        --drop-undefined-syms --exported-interfaces-only --load-all-types --type-id-style hash --no-show-locs \
        --no-corpus-path --no-comp-dir-path --no-elf-needed "$build/lib/$name.so" |
        # Where the sources were.
        sed "s| path='[^']*/\\([^/']*\\)'| path='\\1'|" >"$folder/$name.abi"
done
