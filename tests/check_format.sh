#!/usr/bin/env bash
# The sources stay as clang-format writes them, with the committed configuration.
set -u
cd "$(dirname "$0")/.."
files=$(git ls-files '*.cpp' '*.h' | grep -v '^bridge/webview_api.h$' | grep -v '^tests/fixtures/')
out=$(clang-format --dry-run --Werror $files 2>&1)
if [ -n "$out" ]; then
  echo "$out" | grep -E 'error:' | head -20
  echo "run: clang-format -i <file>"
  exit 1
fi
echo "all sources formatted"
