#!/usr/bin/env bash
# Checks the dynamic symbol table of the shared library:
# - every name in FLAT_LIST is exported unmangled (C linkage);
# - no symbol of the standard library's namespaces (std::, __gnu_cxx::) is
#   exported: template instances the library's code makes stay inside;
# - none of the test seams named in SEAM_LIST (qualified names, without
#   arguments) is exported, nor anything else of an internal namespace
#   (qor::detail, X::internal, qor::testing).
#   scripts/check-exports.sh LIBRARY FLAT_LIST [SEAM_LIST]
set -euo pipefail
lib=$1
flat_list=$2
seam_list=${3:-/dev/null}
mangled=$(nm -D --defined-only "$lib" | awk '{print $3}')
demangled=$(nm -D --defined-only -C "$lib" | cut -d' ' -f3-)
status=0
names() { grep -v -E '^(#|$)' "$1" || true; }

while read -r name; do
    if ! grep -qx -- "$name" <<<"$mangled"; then
        echo "not exported unmangled: $name"; status=1
    fi
done < <(names "$flat_list")

# Mangled names of entities of std (St, Sa, Ss...) or __gnu_cxx, including
# their vtables, type information, guard variables and static locals.
standard=$(grep -E '^_Z(T[VIST]|GV)?Z?N?[KVr]*(S[^_0-9]|9__gnu_cxx)' <<<"$mangled" || true)
if [ -n "$standard" ]; then
    echo "standard library symbols exported:"; c++filt <<<"$standard"; status=1
fi

while read -r seam; do
    if grep -qF -- "$seam(" <<<"$demangled"; then
        echo "test seam exported: $seam"; status=1
    fi
done < <(names "$seam_list")
internal=$(grep -E '(^|[ :])(qor::detail|qor::testing|[A-Za-z]+::internal)::' <<<"$demangled" || true)
if [ -n "$internal" ]; then
    echo "internal symbols exported:"; echo "$internal"; status=1
fi

[ $status -eq 0 ] && echo "exports: $(names "$flat_list" | wc -l) flat names unmangled," \
    "no standard library symbol, $(names "$seam_list" | wc -l) test seams hidden"
exit $status
