#!/usr/bin/env bash
# Every C++ file is formatted by clang-format with the project's settings, no form reads or writes a file itself,
# and the shared helpers know nothing of the floors above them.
cd "$(dirname "$0")/.."
command -v clang-format-16 >/dev/null || { echo "SKIP: clang-format-16 is not installed"; exit 77; }
find src tests bench fuzz \( -name '*.cpp' -o -name '*.h' \) 2>/dev/null | xargs -r clang-format-16 --dry-run --Werror || exit 1
if grep -l '#include "common/IniFile.h"' src/*/frm*.cpp; then
    echo "a form includes the INI engine: go through the data file's or the settings' functions" >&2
    exit 1
fi
if grep -rn '#include "\(engine\|viewer\|settings\|reminders\|addressbook\)/' src/common; then
    echo "src/common includes a floor above it: move what it needs down or pass it in" >&2
    exit 1
fi
