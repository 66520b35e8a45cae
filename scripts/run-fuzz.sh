#!/usr/bin/env bash
# Builds the fuzz targets and gives each a run of SECONDS (default 20) on its
# seed corpus in fuzz/corpus/<target>. New inputs go to a temporary folder, so
# the corpus in the repository is only read.
#   scripts/run-fuzz.sh [SECONDS] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
shift || true
cmake --workflow --preset fuzz >/dev/null
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for f in fuzz/*_fuzz.cc; do [ -e "$f" ] && targets+=("$(basename "$f" .cc)"); done
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
for t in "${targets[@]}"; do
    mkdir -p "$work/$t" "$work/artifacts-$t"
    seeds=fuzz/corpus/$t
    [ -d "$seeds" ] || seeds=""
    echo "== fuzz $t for ${seconds}s"
    if ! ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
        "build/fuzz/fuzz/$t" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 \
        -artifact_prefix="$work/artifacts-$t/" -print_final_stats=0 \
        "$work/$t" $seeds > "$work/$t.log" 2>&1; then
        echo "FAILED: $t"; tail -40 "$work/$t.log"; failed=1
        mkdir -p fuzz/artifacts && cp -r "$work/artifacts-$t" fuzz/artifacts/ || true
    else
        grep -E '^#[0-9]+[[:space:]]*DONE' "$work/$t.log" | tail -1 || true
    fi
done
if [ $failed -eq 0 ]; then echo "fuzz: ${#targets[@]} passed, 0 failed"; else exit 1; fi
