#!/usr/bin/env bash
# Compares the libraries of a build tree with what is described in abi/*.abi.
#
# usage: check.sh BUILD
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
if [ "$(uname -m)" != x86_64 ]; then
    echo "described for x86_64: not compared on this machine"
    exit 0
fi
now=$(mktemp -d)
trap 'rm -rf "$now"' EXIT
"$here/describe.sh" "$1" "$now"
"$here/compare.sh" "$here" "$now"
