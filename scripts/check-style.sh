#!/usr/bin/env bash
# Checks the house style of CONTRIBUTING.md: clang-format over every C++ file,
# an opening comment line in each, and clang-tidy (.clang-tidy) over the
# library sources with build/debug's compile_commands.json.
#   scripts/check-style.sh
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t files < <(git ls-files '*.cc' '*.h')
status=0

echo "== clang-format over ${#files[@]} files"
clang-format --dry-run -Werror "${files[@]}" || status=1

echo "== an opening comment line in each file"
for f in "${files[@]}"; do
    head -n 1 "$f" | grep -q '^// ' || { echo "$f: no opening comment line"; status=1; }
done

echo "== clang-tidy over src/"
if [ ! -f build/debug/compile_commands.json ]; then
    echo "build/debug/compile_commands.json is missing: run cmake --preset debug first"
    exit 1
fi
run-clang-tidy -quiet -p build/debug -j 2 "$PWD/src/" >build/clang-tidy.log 2>&1 || {
    sed 's/\x1b\[[0-9;]*m//g' build/clang-tidy.log | grep -E 'warning:|error:' | sort -u
    status=1
}

[ "$status" = 0 ] && echo "style: clean"
exit "$status"
