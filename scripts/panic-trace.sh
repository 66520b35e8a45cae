#!/usr/bin/env bash
# Turns the stack of a crash report into functions and source lines.
#   scripts/panic-trace.sh REPORT [PROGRAM]
# REPORT is a /tmp/panic-<thread>-<pid>.txt file (or a saved standard error
# of the crash). Each frame is looked up with addr2line in the module it lies
# in, at its offset from the module's base; where the module has no debug
# information the report's own symbol name and offset are shown. The main
# program is listed by its short name only: give its path as PROGRAM, or it
# is looked up on PATH.
set -euo pipefail
if [ $# -lt 1 ] || [ ! -r "$1" ]; then
    echo "usage: $0 REPORT [PROGRAM]" >&2; exit 2
fi
report=$1
program=${2:-}
command -v addr2line >/dev/null || { echo "addr2line (binutils) is needed" >&2; exit 2; }

declare -A module_path module_base
rip=""
section=""
frames=()
while IFS= read -r line; do
    case "$line" in
        "RIP "*) rip=$(awk '{print $2}' <<<"$line"); continue ;;
        "   Obj:"*) section=frames; continue ;;
        "Obj "*) section=modules; continue ;;
        "") [ "$section" = frames ] && section=""; continue ;;
    esac
    if [ "$section" = frames ]; then
        frames+=("$line")
    elif [ "$section" = modules ] && [[ $line =~ ^\ *([0-9]+):\ +([0-9a-f]+)\ (.*)$ ]]; then
        module_base[${BASH_REMATCH[1]}]=${BASH_REMATCH[2]}
        module_path[${BASH_REMATCH[1]}]=${BASH_REMATCH[3]}
    fi
done < "$report"
[ ${#frames[@]} -gt 0 ] || { echo "$report: no stack section" >&2; exit 1; }

# The file a module name stands for: a path as it is, the main program's
# short name through PROGRAM or PATH.
module_file() {
    local name=$1
    if [[ $name == /* ]]; then echo "$name"; return; fi
    if [ -n "$program" ] && [ "$(basename "$program")" = "$name" ]; then echo "$program"; return; fi
    command -v "$name" 2>/dev/null || true
}

rip_frame=-2
for frame in "${frames[@]}"; do
    read -r index _ _ _ address _ <<<"${frame/:/ }"
    if [ -n "$rip" ] && [ "$((0x$address))" = "$((0x$rip))" ]; then rip_frame=${index%:}; break; fi
done

for frame in "${frames[@]}"; do
    if ! [[ $frame =~ ^\ *([0-9]+):\ *([0-9]+)\ +([0-9a-f]+)\ +([0-9a-f]+)\ +([0-9a-f]+)\ (.*)$ ]]; then
        continue
    fi
    index=${BASH_REMATCH[1]} obj=${BASH_REMATCH[2]} offset=${BASH_REMATCH[4]}
    address=${BASH_REMATCH[5]} name=${BASH_REMATCH[6]}
    where="$name+0x$offset"
    file=$(module_file "${module_path[$obj]:-}")
    if [ -n "$file" ] && [ -r "$file" ]; then
        # A return address points behind its call; look up the call itself.
        # The faulting frame's address is the faulting instruction, and the
        # frame before it is the signal trampoline's entry, not a return.
        relative=$(( 0x$address - 0x${module_base[$obj]} ))
        if [ "$index" != "$rip_frame" ] && [ "$index" != "$((rip_frame - 1))" ]; then
            relative=$((relative - 1))
        fi
        found=()
        readarray -t found < <(addr2line -f -C -e "$file" "$(printf '0x%x' "$relative")" 2>/dev/null)
        if [ ${#found[@]} -ge 2 ]; then
            [ "${found[0]}" = "??" ] || where=${found[0]}
            [[ ${found[1]} == \?\?* || ${found[1]} == :* ]] || where="$where at ${found[1]% (discriminator*}"
        fi
    fi
    printf '#%-2s %s (%s)\n' "$index" "$where" "${module_path[$obj]:-?}"
done
