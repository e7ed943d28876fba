#!/usr/bin/env bash
# Installs a build tree into a fresh prefix, moves it, uses it there, and uninstalls it.
#
# usage: check-prefix.sh SOURCE BUILD WORK
set -euo pipefail
source=$1 build=$2 work=$3
prefix="$work/ksproxy"

die() { printf 'check-prefix.sh: %s\n' "$*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work"
# A list of files that somebody has really installed from this tree must survive.
manifest="$build/install_manifest.txt"
[ ! -e "$manifest" ] || cp "$manifest" "$work/manifest"
restore() { if [ -e "$work/manifest" ]; then mv "$work/manifest" "$manifest"; else rm -f "$manifest"; fi; }
trap restore EXIT

# As docs/getting-started.md says.
install=$("$source/tests/documents/documents.py" shell docs/getting-started.md | grep '^cmake --install ')
HOME=$work bash -c "${install//build\/release/"${build@Q}"}" >/dev/null

# What would tie the tree to this place.
if grep -rIl -e "$work" -e "$source" -e "$build" "$prefix"; then
    die "these files know where they were built or installed"
fi
programs=0
while read -r file; do
    run_path=$(readelf -d "$file" | sed -n 's/.*R[UN]*PATH.*\[\(.*\)\]/\1/p')
    case $run_path in
    '' | '$ORIGIN' | '$ORIGIN/'*) ;;
    *) die "$file has the run path $run_path" ;;
    esac
    programs=$((programs + 1))
done < <(find "$prefix/bin" "$prefix"/lib* -type f \( -perm -u+x -o -name '*.so.*' \))
[ "$programs" -eq 7 ] || die "$programs programs and libraries are installed, not 7"

mv "$prefix" "$work/moved"
"$source/tests/installed/use-installed.sh" "$source/examples" "$work/moved" "$work/use"
"$source/tests/documents/documents.py" first-program "$work/first"
libraries=$(dirname "$(find "$work/moved" -name libksproxypackage.so)")
CMAKE_PREFIX_PATH="$work/moved" PKG_CONFIG_PATH="$libraries/pkgconfig" \
    LD_LIBRARY_PATH="$libraries" "$source/tests/installed/first-program.sh" "$work/first"
mv "$work/moved" "$prefix"

cmake --build "$build" --target uninstall >/dev/null
[ ! -e "$prefix" ] || [ -z "$(find "$prefix" -mindepth 1)" ] ||
    die "left after uninstalling: $(find "$prefix" -mindepth 1)"
printf 'uninstalled: nothing is left\n'
