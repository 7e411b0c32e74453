#!/usr/bin/env bash
# clang-tidy with the project's .clang-tidy over the given sources, or over every source of src/ and fuzz/.
# Usage: check_tidy.sh BUILD_DIR [FILE...]; BUILD_DIR holds compile_commands.json. PV_TIDY_JOBS sets the parallelism.
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

# One clang-tidy per file; each prints its findings only once it is done, so files do not interleave.
printf '%s\n' "${files[@]}" \
    | xargs -P"${PV_TIDY_JOBS:-$(nproc)}" -I{} bash -c \
        'out=$(clang-tidy-16 -p "$0" --quiet "$1" 2>&1) && exit 0; printf "%s\n" "$out" | grep -v " warnings\? generated\.$"; exit 1' \
        "$build" {}
status=$?
echo "clang-tidy: ${#files[@]} files, $([ $status -eq 0 ] && echo clean || echo findings above)"
exit $status
