#!/usr/bin/env bash
# Shows the tavprops tool on an example: two inputs merged (the later one wins
# for plain entries, nested bags merge), an edit, the output forms, and a JSON
# input.
set -euo pipefail
tool=${1:-build/default/tools/tavprops}

base='name="camera 1",live=T,video{width=640,height=480,fps=30.0},audio{channels=2}'
override='video{width=1280,height=720},gain=-3'
json='{"video": {"codec": "h264", "sizes": [240, 480]}, "live": false}'

# Echoes a command line the way it would be typed, then runs it.
run() {
    printf '\n$ tavprops'
    local arg
    for arg in "$@"; do
        case $arg in
            --*) printf ' %s' "$arg" ;;
            *) printf " '%s'" "$arg" ;;
        esac
    done
    printf '\n'
    "$tool" "$@"
}

echo "Two bags in the one-line property syntax:"
echo "  $base"
echo "  $override"

run "$base" "$override"
run --typed --get video.fps "$base" "$override"
run --legacy-json --get video "$base" "$override"
run --xml --set video.codec='"h264"' "$base" "$override"
run --legacy-xml --get video "$base" "$override"
run --dump --remove audio "$base" "$override"
run --get video.width "$base" "$override"

echo
echo "JSON input (an input starting with \"{\"), merged after the first bag:"
run --indent 2 --set 'video.sizes[1]=720' "$base" "$json"

echo
echo "Invalid input is reported on standard error with a non-zero exit status:"
status=0
run 'a = 1' 2>&1 || status=$?
echo "(exit status $status)"
