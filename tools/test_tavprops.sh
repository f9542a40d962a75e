#!/usr/bin/env bash
# Tests of the tavprops command-line tool; run with the tool's path.
set -uo pipefail
tool=${1:?usage: test_tavprops.sh path/to/tavprops}
failures=0
out=$(mktemp) err=$(mktemp) file=$(mktemp)
trap 'rm -f "$out" "$err" "$file"' EXIT

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

# valid_json NAME: the last run's output is one JSON document.
valid_json() {
    python3 -c 'import json,sys; json.load(sys.stdin)' <"$out" 2>/dev/null ||
        fail "$1: output is not valid JSON: $(cat "$out")"
}

# valid_xml NAME: the last run's output is well-formed XML (when xmllint is there).
valid_xml() {
    command -v xmllint >/dev/null || { echo "note: no xmllint, $1 not checked" >&2; return; }
    xmllint --noout "$out" 2>/dev/null || fail "$1: output is not well-formed XML: $(cat "$out")"
}

# expect NAME EXPECTED_STDOUT: the last run succeeded and wrote exactly that;
# output that is JSON or XML must parse.
expect() {
    [ "$(head -c1 "$out")" = "{" ] && valid_json "$1"
    [ "$(head -c5 "$out")" = "<?xml" ] && valid_xml "$1"
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
expect "json" '{"a":true,"b":-3,"n":{"e":7},"s":"x y"}'

run --typed 'a=T,b=-3,s="x y",n{e=7}'
expect "typed json" '{"a":{"type":"bool","value":true},"b":{"type":"int","value":-3},"n":{"type":"properties","value":{"e":{"type":"uint","value":7}}},"s":{"type":"string","value":"x y"}}'

run --indent 2 'a=1,n{e=F}'
expect "indented json" "$(printf '{\n  "a": 1,\n  "n": {\n    "e": false\n  }\n}')"

run --legacy-json 'a=T,b=-3,s="x y",n{e=7}'
expect "legacy json keeps its bytes" '{"a":{"type":"bool","value":true},"b":{"type":"int","value":-3},"n":{"type":"properties","value":{"e":{"type":"uint","value":7}}},"s":{"type":"string","value":"x y"}}'

run --version
[ "$status" -eq 0 ] && grep -qE '^tavprops [0-9]+\.[0-9]+\.[0-9]+$' "$out" || fail "version: $(cat "$out")"

run --legacy-xml 'a=1,n{e=0.5}'
expect "legacy xml keeps its bytes" "$(printf '\t<value name="a" type="uint">1</value>\n\t<properties name="n">\n\t\t<value name="e" type="TavFloat64">0.500000</value>\n\t</properties> <!-- n -->')"

run --xml 'a=1,n{e=0.5}'
expect "xml" "$(printf '<?xml version="1.0" encoding="UTF-8"?>\n<properties>\n<value name="a" type="uint">1</value>\n<properties name="n">\n<value name="e" type="float64">0.5</value>\n</properties>\n</properties>')"

# Names and strings that need escaping, and bytes XML can't hold.
run --xml '{"a&<>\"\u0001":"x\ty\r\u0000&","v":[1,{"k":[]},"\ufffe"],"e":{}}' 'b{c="<&>"}'
[ "$status" -eq 0 ] || fail "xml escaping: exit status $status"
valid_xml "xml escaping"

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
expect "set replaces a value read from text" '{"b.c":5}'

run --legacy-json --set b.c=5 --get b.c 'a=1,b{c=2}'
expect "legacy get" '{"b.c":{"type":"uint","value":5}}'

run --dump --set 'n={x="s"}' --set m.k=T --remove a 'a=1'
expect "set bags, create paths, remove" "$(printf 'm: [\n\t\tk(TavBool): true,\n],\nn: [\n\t\tx(TavString): "s",\n],')"

run --get a --get n.x 'a=-1,n{x=1.5}'
expect "several gets" '{"a":-1,"n.x":1.5}'

run --get missing 'a=1'
expect_error "get of a missing path" 1 "--get missing: no entry at this path"

run --remove missing 'a=1'
expect_error "remove of a missing path" 1 "--remove missing: no entry at this path"

run --set 'a=1 2' 'a=1'
expect_error "set with a bad value" 1 'value "1 2" is not valid property syntax'

# ---- paths -----------------------------------------------------------------
run --get 'v[1]' --get 'v[2]' --remove 'v[0]' '{"v":[1,2,{"k":"x"},4]}'
expect "indexes on a vector, after the removal" '{"v[1]":{"k":"x"},"v[2]":4}'

run --set 'v[0]="a"' --set 'v[1].k=T' --set 'v[2]=F' --remove 'v[3]' '{"v":[1,{"k":1},[3],4]}'
expect "vector elements replaced in place" '{"v":["a",{"k":true},false]}'

run --set 'v[2]=1' '{"v":[1,2]}'
expect_error "set past the end of a vector" 1 "--set v[2]: cannot store a value at this path"
while IFS='|' read -r option path message; do
    run "$option" "$path" '{"x":{"y":1},"v":[1],"s":"t"}'
    expect_error "$option $path" 1 "$option ${path%%=*}: $message"
done <<'EOF'
--get|x..y|malformed path: empty name
--get|.x|malformed path: empty name
--get|x.|malformed path: empty name
--get||malformed path: empty name
--get|v[|malformed path: unclosed bracket
--get|v[-1]|malformed path: index [-1] is not a plain decimal number
--get|v[ 0]|malformed path: index [ 0] is not a plain decimal number
--get|v[]|malformed path: index [] is not a plain decimal number
--get|v[99999999999999999999]|malformed path: index [99999999999999999999] is too large
--get|v[0]x|malformed path: an index must end its name
--get|[0]|malformed path: empty name
--get|s[0]|s is not a vector
--get|x.y[0]|x.y is not a vector
--set|x..y=1|malformed path: empty name
--set|s[0]=1|s is not a vector
--remove|x.|malformed path: empty name
--remove|x[0]|x is not a vector
EOF

# ---- JSON input ------------------------------------------------------------
run --dump ' {"a":1,"n":{"x":"s"}}' 'b=2'
expect "json argument merged with the one-line syntax" "$(printf 'a(TavInt64): 1,\nb(TavUint): 2,\nn: [\n\t\tx(TavString): "s",\n],')"

run --stdin $'{\n "a": [true, null],\n "b": {"c": 1.5}\n}\n' --set b.c=2
expect "json on standard input, set over a value read" '{"a":[true,0],"b":{"c":2}}' # null: a null pointer

printf '{"a":{"b":"c"}}' >"$file"
run --file "$file" 'a{d=1}'
expect "json file" '{"a":{"b":"c","d":1}}'

printf 'a=1\n\nb{c=2}\n' >"$file"
run --file "$file"
expect "file in the one-line syntax, one bag per line" '{"a":1,"b":{"c":2}}'

run --typed 'a=-3,f=0.25,s="x",u=7,n{b=T}'
typed=$(cat "$out")
run --typed --legacy-json "$typed"
expect "typed round trip keeps every kind" "$(build=$("$tool" --legacy-json 'a=-3,f=0.25,s="x",u=7,n{b=T}'); echo "$build")"

run --stdin $'{"a":1,\n  "b": tru}'
expect_error "invalid json" 1 "standard input: invalid JSON at offset 15 (line 2, column 8)"

run --stdin $'a=1\n{"a":\x01}'
expect_error "one-line syntax on stdin ignores a later brace" 1 "standard input line 2: not valid property syntax"

printf '{"a":"x\0y"}' >"$file"
run --file "$file"
expect_error "NUL byte in json" 1 "NUL byte at offset 7 (line 1, column 8)"

printf 'a=1\nb=\0\n' >"$file"
run --file "$file"
expect_error "NUL byte in the one-line syntax" 1 "NUL byte at offset 6 (line 2, column 3)"

run --file /nonexistent/file
expect_error "missing file" 1 'file "/nonexistent/file": cannot open'

run --typed '{"a":{"type":"nope","value":1}}'
expect_error "typed json with an unknown type" 1 "invalid JSON"

run --typed '{"cam":{"type":"ptr","value":1}}'
expect_error "typed json with a pointer names the member" 1 \
    'offset 1 (line 1, column 2): pointer kinds can'"'"'t be read (member "cam")'

# ---- output errors ---------------------------------------------------------
python3 -c 'import json; print(json.dumps({"k%d" % i: "v" * 20 for i in range(20000)}))' >"$file"
"$tool" --indent 4 --file "$file" 2>"$err" | head -c1 >/dev/null
[ "${PIPESTATUS[0]}" -eq 1 ] || fail "closed pipe: exit status ${PIPESTATUS[0]}"
grep -qF "cannot write to standard output" "$err" || fail "closed pipe: message: $(cat "$err")"
if [ -w /dev/full ]; then
    "$tool" 'a=1' >/dev/full 2>"$err"
    [ $? -eq 1 ] && grep -qF "cannot write to standard output" "$err" || fail "full disk"
fi

# ---- invalid input and usage -------------------------------------------
run 'a=1' 'b = 2'
expect_error "syntax error in an argument" 1 'argument 2 "b = 2": not valid property syntax'

run --stdin $'a=1\nb=2,\n'
expect_error "syntax error on standard input" 1 "standard input line 2: not valid property syntax"

run --frobnicate 'a=1'
expect_error "unknown option" 2 'unknown option "--frobnicate"'

run 'a=1' --set
expect_error "missing operand" 2 "--set needs an argument"

run --indent x 'a=1'
expect_error "bad indent" 2 '--indent expects a number of spaces from 0 to 32, got "x"'

# ---- the JSON is JSON ------------------------------------------------------
run --typed 'name="camera 1",list="a, b",brace="{x=1}",empty="",pct="50% off",n{inner="v",deeper{k="w"}}'
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
