#!/usr/bin/env bash
# Installs a built tree into a temporary prefix and builds a small client
# against it twice: through find_package(qorbasic) and through pkg-config.
#   scripts/check-install.sh BUILD_DIR
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

test -L "$prefix/lib/libqorbasic.so.0" || { echo "lib/libqorbasic.so.0 is not a link"; exit 1; }
test -f "$prefix/include/qorbasic/qorbasic.h"
test -f "$prefix/lib/pkgconfig/qorbasic.pc"
# The CMake package states C++17 as a feature; pkg-config leaves it to the client.
grep -q cxx_std_17 "$prefix/lib/cmake/qorbasic/qorbasicTargets.cmake"
if grep -q -- -std= "$prefix/lib/pkgconfig/qorbasic.pc"; then echo "qorbasic.pc sets -std"; exit 1; fi

cat > "$work/main.cc" <<'CC'
#include <qorbasic/qorbasic.h>
#include <cstdio>
int main() {
    BasicLog::Source* log = BasicLog::make_logsource_instance("installed_client.cc");
    std::printf("%s %d\n", log->name().c_str(), log->would_send(QOR_LOGLEVEL_DEBUG) ? 1 : 0);
    return cased_equals(log->name(), "installed_client") ? 0 : 1;
}
CC
. "$(dirname "$0")/build-client.sh"
build_client "$work/main.cc" "$prefix" "$work/client"
out=$(LD_LIBRARY_PATH="$prefix/lib" "$work/client/build/client")
[ "$out" = "installed_client 0" ] || { echo "find_package client printed: $out"; exit 1; }

out=$(LD_LIBRARY_PATH="$prefix/lib" "$work/client/pc_client")
[ "$out" = "installed_client 0" ] || { echo "pkg-config client printed: $out"; exit 1; }
echo "install: find_package and pkg-config clients run"
