#!/bin/bash
# The part of check.sh that runs in the clean Debian, where /ksproxy has the packages.
set -euo pipefail
cd /ksproxy
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8

say() { printf '== %s\n' "$*"; }
die() { printf 'check-inside.sh: %s\n' "$*" >&2; exit 1; }
install() { apt-get install -y -qq --no-install-recommends "$@" >/ksproxy/apt.log 2>&1 || { cat /ksproxy/apt.log >&2; exit 1; }; }

say "installing the packages, as the first page says"
apt-get update -qq
echo 'APT::Get::Assume-Yes "true";' >/etc/apt/apt.conf.d/yes
bash -e first/install.sh >/ksproxy/apt.log 2>&1 || { cat /ksproxy/apt.log >&2; exit 1; }
say "installing the other packages"
install ./*.deb
mapfile -t packages < <(for file in ./*.deb; do dpkg-deb --field "$file" Package; done)
mapfile -t files < <(dpkg --listfiles "${packages[@]}" | sort -u)

say "building and running the examples"
tests/installed/use-installed.sh /usr/share/doc/libksproxy-dev/examples /usr /ksproxy/use

say "following the first page"
tests/installed/first-program.sh first

say "removing the packages"
apt-get purge -y -qq "${packages[@]}" >/ksproxy/apt.log 2>&1 || { cat /ksproxy/apt.log >&2; exit 1; }
for file in "${files[@]}"; do
    [ -d "$file" ] || [ ! -e "$file" ] || die "left: $file"
done
left=$(find / -xdev \( -path /ksproxy -o -path /proc \) -prune -o -iname '*ksproxy*' -print -o -name 'KVTServer*' -print)
[ -z "$left" ] || die "left: $left"
say "nothing is left"
