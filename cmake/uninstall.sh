#!/usr/bin/env bash
# Removes what the last `cmake --install` of a build tree installed, and the folders of it that are empty then.
#
# usage: uninstall.sh MANIFEST    the list that CMake keeps of it
set -euo pipefail
manifest=$1
if [ ! -e "$manifest" ]; then
    echo "uninstall.sh: $manifest is missing: nothing has been installed from this build tree" >&2
    exit 1
fi

# The list has no end of line behind its last file.
mapfile -t files <"$manifest"
for file in "${files[@]}"; do
    rm -f -- "${DESTDIR:-}$file"
    printf 'Removed %s\n' "${DESTDIR:-}$file"
done
# Below what they have in common. A folder that is not empty stays.
common=$(dirname "${files[0]}")
for file in "${files[@]}"; do
    while [[ "$file" != "$common"/* ]]; do common=$(dirname "$common"); done
done
prefix="${DESTDIR:-}$common"
for file in "${files[@]}"; do
    folder=$(dirname "${DESTDIR:-}$file")
    while [ "$folder" != "$prefix" ] && rmdir -- "$folder" 2>/dev/null; do
        folder=$(dirname "$folder")
    done
done
