#!/usr/bin/env bash
# Checks the dynamic symbol table of the shared library: every name listed in
# tests/scripts/flat_symbols.txt is exported unmangled (C linkage), and no
# internal symbol (namespace qor::detail, or anything from the static test
# seams) is exported.
#   scripts/check-exports.sh LIBRARY SYMBOL_LIST
set -euo pipefail
lib=$1
list=$2
symbols=$(nm -D --defined-only "$lib" | awk '{print $3}')
status=0
while read -r name; do
    case "$name" in ''|'#'*) continue ;; esac
    if ! grep -qx -- "$name" <<<"$symbols"; then
        echo "not exported unmangled: $name"; status=1
    fi
done < "$list"
internal=$(nm -D --defined-only -C "$lib" | grep -E 'qor::detail::|qor::testing::' || true)
if [ -n "$internal" ]; then
    echo "internal symbols exported:"; echo "$internal"; status=1
fi
[ $status -eq 0 ] && echo "exports: $(grep -cv -E '^(#|$)' "$list") flat names unmangled, nothing internal"
exit $status
