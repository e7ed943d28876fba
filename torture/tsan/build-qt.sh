#!/usr/bin/env bash
# Builds Debian's own QtCore, QtNetwork and QtTest with ThreadSanitizer, which reports races in correct
# queued calls when Qt itself is not built for it. Prints the folder to put into CMAKE_PREFIX_PATH;
# when it stands there already nothing else is done. KSPROXY_TSAN_QT names another folder.
set -euo pipefail

package=qtbase-opensource-src
version=$(dpkg-query -W -f '${source:Version}' qtbase5-dev)
prefix=${KSPROXY_TSAN_QT:-${XDG_CACHE_HOME:-$HOME/.cache}/ksproxy/qt-tsan-${version//[^A-Za-z0-9.]/-}}
if [ -e "$prefix/complete" ]; then
    echo "$prefix"
    exit
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
log=$prefix/build.log
rm -rf "$prefix"
mkdir -p "$prefix" "$work/lists/partial"
cd "$work"

# Lists of its own: the machine's sources stay as they are, whatever they name.
{
    echo "deb-src http://deb.debian.org/debian bookworm main"
    echo "deb-src http://deb.debian.org/debian bookworm-updates main"
    echo "deb-src http://deb.debian.org/debian-security bookworm-security main"
} >sources.list
apt=(apt-get -qq -o "Dir::State::lists=$work/lists" -o "Dir::Etc::sourcelist=$work/sources.list"
    -o Dir::Etc::sourceparts=- -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache=
    -o APT::Sandbox::User=root)

build() {
    "${apt[@]}" update
    "${apt[@]}" source "$package=$version"
    mkdir build
    cd build
    # Without what the library does not use. The workers of the library meet Qt's own event loop,
    # not GLib's, which is not built for the sanitizer.
    ../"$package"-*/configure -prefix "$prefix" -opensource -confirm-license -release \
        -force-debug-info -platform linux-g++ -sanitize thread -nomake examples -nomake tests \
        -no-gui -no-widgets -no-dbus -no-opengl -no-openssl -no-icu -no-glib -no-zstd -no-libproxy \
        -no-feature-sql -no-feature-concurrent -no-feature-xml -no-feature-bearermanagement \
        -no-pch -qt-pcre -qt-zlib -qt-doubleconversion
    nice make -j"$(nproc)"
    make install
}

echo "building Qt for the thread sanitizer, which takes a while; see $log" >&2
build >"$log" 2>&1 & # in the background, where a step that fails still ends it
if ! wait $!; then
    tail -n 20 "$log" >&2
    echo "build-qt.sh: the build of Qt failed" >&2
    exit 1
fi
touch "$prefix/complete"
echo "$prefix"
