#!/usr/bin/env bash
# Samples small faults in one family's sources and counts how many its tests
# catch (see scripts/mutate.py):  scripts/mutate.sh FAMILY [COUNT] [SEED]
set -euo pipefail
cd "$(dirname "$0")/.."
exec python3 scripts/mutate.py "$@"
