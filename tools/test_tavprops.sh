#!/usr/bin/env bash
# Tests of the tavprops command-line tool; run with the tool's path.
set -uo pipefail
tool=${1:?usage: test_tavprops.sh path/to/tavprops}
failures=0
out=$(mktemp) err=$(mktemp)
trap 'rm -f "$out" "$err"' EXIT

fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

# run [--stdin TEXT] ARGS...: runs the tool, leaving stdout, stderr and the
# exit status in $out, $err and $status.
run() {
    local input=""
    if [ "${1-}" = --stdin ]; then input=$2; shift 2; fi
    status=0
    printf '%s' "$input" | "$tool" "$@" >"$out" 2>"$err" || status=$?
}

# expect NAME EXPECTED_STDOUT: the last run succeeded and wrote exactly that.
expect() {
    [ "$status" -eq 0 ] || fail "$1: exit status $status ($(cat "$err"))"
    [ -s "$err" ] && fail "$1: wrote to standard error: $(cat "$err")"
    [ "$(cat "$out")" = "$2" ] || fail "$1: got
$(cat "$out")
expected
$2"
}

# expect_error NAME STATUS MESSAGE: the last run failed with that status,
# wrote MESSAGE (a fixed string) to standard error and nothing to standard output.
expect_error() {
    [ "$status" -eq "$2" ] || fail "$1: exit status $status, expected $2"
    [ -s "$out" ] && fail "$1: wrote to standard output: $(cat "$out")"
    grep -qF -- "$3" "$err" || fail "$1: standard error lacks '$3': $(cat "$err")"
}

# ---- output forms ------------------------------------------------------
run 'a=T,b=-3,s="x y",n{e=7}'
expect "json" '{"a":{"type":"bool","value":true},"b":{"type":"int","value":-3},"n":{"type":"properties","value":{"e":{"type":"uint","value":7}}},"s":{"type":"string","value":"x y"}}'

run --xml 'a=1,n{e=0.5}'
expect "xml" "$(printf '\t<value name="a" type="uint">1</value>\n\t<properties name="n">\n\t\t<value name="e" type="TavFloat64">0.500000</value>\n\t</properties> <!-- n -->')"

run --dump 'a=1,n{e=0.5}'
expect "dump" "$(printf 'a(TavUint): 1,\nn: [\n\t\te(float64): 0.50000,\n],')"

run --help
[ "$status" -eq 0 ] && grep -q 'Usage: tavprops' "$out" || fail "help"

# ---- inputs and merging ------------------------------------------------
run --stdin $'a=1,n{x=1}\n\nb=2,n{y=2}\n' --dump
expect "stdin lines merge, blank lines skipped" "$(printf 'a(TavUint): 1,\nb(TavUint): 2,\nn: [\n\t\tx(TavUint): 1,\n\t\ty(TavUint): 2,\n],')"

run --dump 'a=1,n{x=1,z=1}' 'a=2,n{x=2}'
expect "later inputs win" "$(printf 'a(TavUint): 2,\nn: [\n\t\tx(TavUint): 2,\n\t\tz(TavUint): 1,\n],')"

run --stdin ''
expect "no input is an empty bag" '{}'

# ---- edits ---------------------------------------------------------------
run --set b.c=5 --get b.c 'a=1,b{c=2}'
expect "set replaces a value read from text" '{"b.c":{"type":"uint","value":5}}'

run --dump --set 'n={x="s"}' --set m.k=T --remove a 'a=1'
expect "set bags, create paths, remove" "$(printf 'm: [\n\t\tk(TavBool): true,\n],\nn: [\n\t\tx(TavString): "s",\n],')"

run --get a --get n.x 'a=-1,n{x=1.5}'
expect "several gets" '{"a":{"type":"int","value":-1},"n.x":{"type":"float64","value":1.500000}}'

run --get missing 'a=1'
expect_error "get of a missing path" 1 "--get missing: no entry at this path"

run --remove missing 'a=1'
expect_error "remove of a missing path" 1 "--remove missing: no entry at this path"

run --set 'a=1 2' 'a=1'
expect_error "set with a bad value" 1 'value "1 2" is not valid property syntax'

# ---- invalid input and usage -------------------------------------------
run 'a=1' 'b = 2'
expect_error "syntax error in an argument" 1 'argument 2 "b = 2": not valid property syntax'

run --stdin $'a=1\nb=2,\n'
expect_error "syntax error on standard input" 1 "standard input line 2: not valid property syntax"

run --frobnicate 'a=1'
expect_error "unknown option" 2 'unknown option "--frobnicate"'

run 'a=1' --set
expect_error "missing operand" 2 "--set needs an argument"

# ---- the JSON is JSON ------------------------------------------------------
run 'name="camera 1",list="a, b",brace="{x=1}",empty="",pct="50% off",n{inner="v",deeper{k="w"}}'
if [ "$status" -ne 0 ]; then
    fail "json for python: exit status $status"
elif command -v python3 >/dev/null; then
    python3 - "$out" <<'PY' || fail "python3 json check"
import json, sys
doc = json.load(open(sys.argv[1]))
def plain(entry):
    if entry["type"] == "properties":
        return {k: plain(v) for k, v in entry["value"].items()}
    assert entry["type"] == "string", entry
    return entry["value"]
got = {k: plain(v) for k, v in doc.items()}
want = {"name": "camera 1", "list": "a, b", "brace": "{x=1}", "empty": "",
        "pct": "50% off", "n": {"inner": "v", "deeper": {"k": "w"}}}
assert got == want, got
PY
fi

if [ "$failures" -ne 0 ]; then
    echo "$failures tavprops test(s) failed" >&2
    exit 1
fi
echo "all tavprops tests passed"
