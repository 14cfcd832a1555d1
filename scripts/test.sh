#!/usr/bin/env bash
# Builds kelkit and runs every test twice: in the release build and in the
# AddressSanitizer + UndefinedBehaviorSanitizer build. Installs missing build
# dependencies from Debian's packages first.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs="$(nproc)"

for preset in release sanitize; do
  echo "=== $preset: configure and build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j"$jobs"
  echo "=== $preset: test"
  ctest --preset "$preset" -j"$jobs"
done
