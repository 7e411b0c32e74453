#!/usr/bin/env bash
# clang-tidy with the project's .clang-tidy over the given sources, or over every source of src/ and fuzz/.
# Usage: check_tidy.sh BUILD_DIR [FILE...]; BUILD_DIR holds compile_commands.json.
# PV_TIDY_JOBS sets the parallelism, PV_TIDY_FILE_SECONDS the time one file may take (default 240).
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:?usage: $0 BUILD_DIR [FILE...]}" && pwd) || exit 1
shift
command -v clang-tidy-16 >/dev/null || { echo "SKIP: clang-tidy-16 is not installed"; exit 77; }
[ -f "$build/compile_commands.json" ] || { echo "no compile_commands.json in $build"; exit 1; }

if [ $# -gt 0 ]; then
    files=("$@")
else
    mapfile -t files < <(cd "$root" && find src fuzz -name '*.cpp' | sort)
fi
cd "$root"
times=$(mktemp)
trap 'rm -f "$times"' EXIT

# One clang-tidy per file; each prints its findings only once it is done, so files do not interleave.
# The path-sensitive analyzer now and then loses itself in one function for many minutes: a file that overruns its
# time gets one more try, then is checked without the analyzer, and says so.
check_one() {
    local build=$1 file=$2 limit=$3 times=$4 start out status try
    start=$EPOCHREALTIME
    for try in 1 2; do
        out=$(timeout "$limit" clang-tidy-16 -p "$build" --quiet "$file" 2>&1)
        status=$?
        [ $status -ne 124 ] && break
    done
    if [ $status -eq 124 ]; then
        echo "NOTE: $file: the analyzer ran over ${limit} s twice; checked without it"
        out=$(timeout "$limit" clang-tidy-16 -p "$build" --quiet --checks='-clang-analyzer-*' "$file" 2>&1)
        status=$?
        [ $status -eq 124 ] && out="$file: clang-tidy ran over ${limit} s even without the analyzer"
    fi
    echo "$start $EPOCHREALTIME $file" >>"$times"
    [ $status -eq 0 ] && return 0
    printf '%s\n' "$out" | grep -v " warnings\? generated\.$"
    return 1
}
export -f check_one

jobs=${PV_TIDY_JOBS:-$(nproc)}
[ "$jobs" -gt 4 ] && jobs=4 # each run takes up to half a gigabyte
printf '%s\n' "${files[@]}" \
    | xargs -P"$jobs" -I{} bash -c 'check_one "$@"' _ "$build" {} "${PV_TIDY_FILE_SECONDS:-240}" "$times"
status=$?
echo "clang-tidy: ${#files[@]} files, $([ $status -eq 0 ] && echo clean || echo findings above); slowest:"
awk '{ printf "%.1f %s\n", $2 - $1, $3 }' "$times" | sort -rn | head -5 | awk '{ printf "  %6.1f s %s\n", $1, $2 }'
exit $status
