#!/usr/bin/env bash
# The desktop entry and the AppStream metainfo are valid for the tools that read them.
set -euo pipefail
DATA=$(cd "$(dirname "$0")/../../data" && pwd)
for tool in appstreamcli desktop-file-validate; do
    command -v "$tool" >/dev/null || { echo "SKIP: $tool is not installed"; exit 77; }
done
appstreamcli validate --no-net "$DATA/org.pilvanor.Pilvanor.metainfo.xml"
desktop-file-validate "$DATA/org.pilvanor.Pilvanor.desktop"
echo "PASS metadata"
