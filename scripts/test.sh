#!/usr/bin/env bash
# Sets up, builds and runs every test: the whole suite in a debug build and again under AddressSanitizer
# with UndefinedBehaviorSanitizer, the threaded tests under ThreadSanitizer, and a short run of each fuzzer.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

bash scripts/setup.sh

for preset in debug asan tsan fuzz; do
  echo "=== $preset ==="
  cmake --preset "$preset" > /dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
