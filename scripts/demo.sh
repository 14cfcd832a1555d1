#!/usr/bin/env bash
# Builds the kelkit tool (release) and runs it on a sample inspection image
# that the project generates: prints the library facts and the statistics of
# the image. Output goes to out/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release -j"$(nproc)" --target kelkit example_make_sample >/dev/null
mkdir -p out
build/release/examples/make_sample out/part.png
build/release/apps/kelkit/kelkit info
echo
build/release/apps/kelkit/kelkit stats out/part.png
