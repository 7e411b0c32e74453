#!/usr/bin/env bash
# Every C++ file is formatted by clang-format with the project's settings, and no form reads or writes a file itself.
cd "$(dirname "$0")/.."
command -v clang-format-16 >/dev/null || { echo "SKIP: clang-format-16 is not installed"; exit 77; }
find src tests bench fuzz -name '*.cpp' -o -name '*.h' 2>/dev/null | xargs -r clang-format-16 --dry-run --Werror
if grep -l '#include "common/IniFile.h"' src/*/frm*.cpp; then
    echo "a form includes the INI engine: go through the data file's or the settings' functions" >&2
    exit 1
fi
