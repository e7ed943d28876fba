#!/usr/bin/env bash
# Whether abi/compare.sh tells what may change from what may not: the libraries' own descriptions, changed by hand.
#
# usage: check-fires.sh ABI WORK    ABI has the scripts and the descriptions
set -euo pipefail
abi=$1 work=$2

die() { printf 'check-fires.sh: %s\n' "$*" >&2; exit 1; }

# Both sides anew; then the script of sed that makes one of them different.
change() {
    local side=$1 library=$2 script=$3
    rm -rf "$work"
    mkdir -p "$work/before" "$work/now"
    cp "$abi"/*.abi "$work/before"
    cp "$abi"/*.abi "$work/now"
    sed -i "$script" "$work/$side/$library.abi"
    ! cmp -s "$abi/$library.abi" "$work/$side/$library.abi" || die "nothing changed by $script"
}
must_pass() { "$abi/compare.sh" "$work/before" "$work/now" >"$work/output" 2>&1 || die "$1 is refused"; }
must_fail() {
    ! "$abi/compare.sh" "$work/before" "$work/now" >"$work/output" 2>&1 || die "$1 is not noticed"
    grep -q "$2: the binary face has changed" "$work/output" || die "$1 is not what is noticed: $(cat "$work/output")"
}

symbol="/elf-symbol name='_ZN12KsProxyTools20getDefaultServerPathEv'/d"
change now libksproxyclient "$symbol"
must_fail "an operation that is gone" libksproxyclient

change before libksproxyclient "$symbol"
must_pass "an operation that is added"

change now libksproxyinterface "s/\(class-decl name='EquipmentInfo' size-in-bits='\)[0-9]*/\14096/"
must_fail "a value of another size" libksproxyinterface

change now libksproxyinterface "/name='UnRegister'/,/<\/member-function>/b; s/vtable-offset='28'/vtable-offset='40'/"
must_fail "a virtual operation in another place" libksproxyinterface

change now libksproxyinterface "s/\(class-decl name='EquipmentInfo' size-in-bits='\)[0-9]*/\14096/; s/libksproxyinterface.so.1'/libksproxyinterface.so.2'/"
must_pass "a new major version"

change now libksproxyclient "s/ soname='[^']*'//"
! "$abi/compare.sh" "$work/before" "$work/now" >"$work/output" 2>&1 || die "a SONAME that is gone is not noticed"

change now libksproxypackage "s/\(enumerator name='NoEquipment' value='\)3/\17/"
must_fail "an enumerator with another number" libksproxypackage

QString=$(sed -n "s/.*class-decl name='QString'.* id='\([^']*\)'.*/\1/p" "$abi/libksproxysession.abi" | head -n 1)
QByteArray=$(sed -n "s/.*class-decl name='QByteArray'.* id='\([^']*\)'.*/\1/p" "$abi/libksproxysession.abi" | head -n 1)
change now libksproxysession "/name='errorString'/,/<\/function-decl>/s/$QString/$QByteArray/"
must_fail "an operation that returns something else" libksproxysession

optional=$(sed -n "s/.*class-decl name='optional&lt;TarnEnum::CommResults&gt;'.* id='\([^']*\)'.*/\1/p" "$abi/libksproxysession.abi" | head -n 1)
change now libksproxysession "/name='deviceResult'/s/$optional/$QString/"
must_fail "a member of another type" libksproxysession

# The same on both sides, but nothing that tells the layouts.
mkdir "$work/broken"
cp "$abi/compare.sh" "$work/broken"
printf '#!/bin/sh\nexit 1\n' >"$work/broken/layouts.py"
chmod +x "$work/broken/layouts.py"
! "$work/broken/compare.sh" "$abi" "$abi" >"$work/output" 2>&1 || die "layouts that cannot be told are passed over"
