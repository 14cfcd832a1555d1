#!/usr/bin/env bash
# Builds the kelkit tool (release) and runs its demonstration: a synthetic
# inspection board is made, then fiducials, a rotated part, parts and holes, a
# width and a defect are found on it. The results table is printed and the
# annotated images go to out/demo/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release -j"$(nproc)" --target kelkit >/dev/null
build/release/apps/kelkit/kelkit info
echo
build/release/apps/kelkit/kelkit demo --out out/demo
