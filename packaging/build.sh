#!/usr/bin/env bash
# Builds the Debian packages of what stands in the tree and has lintian look at them. They lie in
# build/package afterwards.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

version=$(sed -n 's/^project(KsProxy VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
if [ "$(dpkg-parsechangelog --show-field Version)" != "$version" ]; then
    echo "build.sh: debian/changelog does not begin with version $version" >&2
    exit 1
fi

packages=build/package
rm -rf "$packages"
mkdir -p "$packages/source"
git ls-files --cached --others --exclude-standard -z |
    tar --create --null --ignore-failed-read --files-from=- | tar --extract --directory "$packages/source"

(cd "$packages/source" && dpkg-buildpackage --build=binary --no-sign) >"$packages/build.log" 2>&1 || {
    tail -n 30 "$packages/build.log" | cut -c 1-300 >&2
    echo "build.sh: the packages cannot be built, see $packages/build.log" >&2
    exit 1
}
rm -rf "$packages/source"
# What is overridden, and why, stands in debian/*.lintian-overrides.
lintian --allow-root --fail-on error,warning "$packages"/*.changes
(cd "$packages" && ls -l --human-readable ./*.deb)
