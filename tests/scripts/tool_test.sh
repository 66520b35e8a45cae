#!/usr/bin/env bash
# Drives the qorbasic tool as a process: exit status, standard output, and
# at most one line on standard error (always one for bad use).
#   tests/scripts/tool_test.sh PATH_TO_QORBASIC
set -uo pipefail
tool=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
export QOR_LOCK_DIR=$work QOR_TMP_DIR=$work/
failures=0

# expect STATUS STDOUT ARGS...
expect() {
    local want_status=$1 want_out=$2
    shift 2
    local out status lines
    out=$(timeout 10 "$tool" "$@" 2>"$work/stderr")
    status=$?
    lines=$(wc -l <"$work/stderr")
    if [ "$status" != "$want_status" ] || [ "$out" != "$want_out" ] ||
        { [ "$status" = 0 ] && [ "$lines" != 0 ]; } ||
        { [ "$lines" = 1 ] && ! grep -q '^qorbasic' "$work/stderr"; } || [ "$lines" -gt 1 ] ||
        { [ "$status" = 2 ] && [ "$lines" != 1 ]; }; then
        echo "FAIL: qorbasic $* gave $status, stdout [$out], stderr [$(cat "$work/stderr")]"
        failures=$((failures + 1))
    fi
}

printf '# kept\nport = 80  # web\nname="a b"\n' >app.conf
expect 0 '80' config get app.conf port
expect 0 'a b' config get app.conf name
expect 0 '' config set app.conf port 8080
expect 0 $'name=a b\nport=8080' config list app.conf
expect 0 '' config set app.conf new 'x y'
expect 0 'x y' config get app.conf new
expect 1 '' config get app.conf missing
expect 1 '' config get nofile.conf port
# Nothing that would read back differently or add a line reaches the file.
for bad in $'a\nb=1' 'a=b' 'a#b' ' a' ''; do expect 2 '' config set app.conf "$bad" v; done
for bad in $'1\nevil=1' '1 # c' '"q"' ' 1'; do expect 2 '' config set app.conf k "$bad"; done
[ "$(grep -c . app.conf)" = 4 ] || { echo "FAIL: app.conf changed by refused sets"; failures=$((failures + 1)); }
expect 2 '' config get app.conf
expect 2 '' config frob app.conf

echo '{"port":70000,"addr":"1.2.3","list":[1,"a"],"o":{"k":true}}' >data.json
echo '[{"key":"port","type":"int","max":65535},{"key":"addr","type":"ip"},
       {"key":"list","type":"array","subtype":"int"}]' >schema.json
echo '[{"key":"port","type":"int"}]' >loose.json
echo '{"a":' >broken.json
mkfifo fifo
expect 0 '' json check data.json
expect 0 '' json check data.json loose.json
expect 1 $'addr: must be a valid IP address\nlist[1]: must be an integer\nport: can\'t be greater than 65535' \
    json check data.json schema.json
expect 1 '' json check broken.json
expect 1 '' json check data.json broken.json
expect 1 '' json check fifo
expect 1 '' json check /dev/zero
expect 0 '70000' json get data.json /port
expect 0 '{"k":true}' json get data.json /o
expect 1 '' json get data.json /nothing
expect 2 '' json get data.json
expect 2 '' json frob data.json

expect 0 '' cidr contains 10.0.0.0/8 10.200.1.1
expect 1 '' cidr contains 10.0.0.0/8 11.0.0.1
expect 0 '' cidr contains 2001:db8::/32 2001:db8::1
expect 1 '' cidr contains 2001:db8::/32 10.0.0.1
for bad in 10.0.0.0/x 10.0.0.0/33 10.0.0.1 nonsense; do expect 2 '' cidr contains "$bad" 10.0.0.1; done
expect 2 '' cidr contains 10.0.0.0/8 10.0.0
expect 2 '' profile
expect 2 '' profile frob
expect 2 ''
expect 2 '' frob

for command in config profile json cidr; do
    out=$("$tool" "$command" --help) && [ "${out#usage: qorbasic $command}" != "$out" ] ||
        { echo "FAIL: qorbasic $command --help"; failures=$((failures + 1)); }
done
[[ "$("$tool" --help)" == "usage: qorbasic "* ]] || { echo "FAIL: qorbasic --help"; failures=$((failures + 1)); }

[ "$failures" = 0 ] && echo "tool: every case as expected"
exit "$failures"
