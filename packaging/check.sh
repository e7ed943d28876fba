#!/usr/bin/env bash
# Installs the packages that build.sh has made into a clean Debian, builds and runs the examples
# there as a developer would, and removes the packages again.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ "$(id -u)" -eq 0 ] || exec sudo "$PWD/packaging/check.sh"

# Root's, who may not be who cleans build/.
base=/var/cache/ksproxy/debian-base root=/var/cache/ksproxy/debian-root
mkdir -p /var/cache/ksproxy build
# shellcheck source=/dev/null # of the machine
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
if [ ! -e "$base" ]; then
    echo "making a clean Debian $release"
    rm -rf "$base" "$base.part"
    debootstrap --variant=minbase "$release" "$base.part" >build/debootstrap.log ||
        { tail -n 20 build/debootstrap.log >&2; exit 1; }
    mv "$base.part" "$base"
fi
rm -rf "$root"
cp --archive "$base" "$root"
mkdir "$root/ksproxy"
cp build/package/*.deb packaging/check-inside.sh "$root/ksproxy/"
cp --parents tests/installed/use-installed.sh tests/installed/first-program.sh tests/support/server.sh "$root/ksproxy/"
tests/documents/documents.py first-program "$root/ksproxy/first"
# With processes of its own: what is started there ends with it.
unshare --mount --pid --fork --kill-child --mount-proc="$root/proc" \
    chroot "$root" /ksproxy/check-inside.sh
rm -rf "$root"
