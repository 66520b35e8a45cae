#!/usr/bin/env bash
# Unpacks the runtime and development packages into a scratch root and builds
# the example client against what they hold, through find_package(qorbasic)
# and through pkg-config, then runs it.
#   scripts/check-packages.sh PACKAGE_DIR
set -euo pipefail
source_dir=$(cd "$(dirname "$0")/.." && pwd)
packages=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root

for name in libqorbasic0 libqorbasic-dev; do
    deb=$(ls "$packages"/${name}_*.deb)
    dpkg -x "$deb" "$root"
    echo "unpacked $(basename "$deb")"
done
usr=$root/usr

. "$source_dir/scripts/build-client.sh"
build_client "$source_dir/examples/client.cc" "$usr" "$work/client"

for client in "$work/client/build/client" "$work/client/pc_client"; do
    # The client must load the packaged library, not one installed elsewhere.
    libs=$(LD_LIBRARY_PATH="$usr/lib" ldd "$client")
    grep -q "$usr/lib/libqorbasic.so.0" <<<"$libs" ||
        { echo "$client does not load the packaged library"; exit 1; }
    out=$(LD_LIBRARY_PATH="$usr/lib" "$client" 2>&1)
    grep -q "setting read back: listen_port=8080" <<<"$out" ||
        { echo "$client printed:"; echo "$out"; exit 1; }
done
# The tool comes with the runtime.
LD_LIBRARY_PATH="$usr/lib" "$usr/bin/qorbasic" cidr contains 10.0.0.0/8 10.1.2.3 ||
    { echo "the packaged qorbasic tool does not run"; exit 1; }
echo "packages: the example client builds (find_package, pkg-config) and runs against them"
echo "$out"
