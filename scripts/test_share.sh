#!/usr/bin/env bash
# Lines of tests against lines of code, per family and overall (source lines
# as git tracks them, blank lines included; tests are tests/, code is src/,
# include/, pixsvc/ and apps/).
set -euo pipefail
cd "$(dirname "$0")/.."
count() { git ls-files -- "$@" | grep -E '\.(c|cpp|h|hpp|sh|py)$' | xargs -r cat | wc -l; }
printf '%-10s %8s %8s %7s\n' family code tests share
for f in frame point filter geometry measure locate inspect tools; do
  c=$(count "src/$f"); t=$(count "tests/$f")
  printf '%-10s %8d %8d %6.0f%%\n' "$f" "$c" "$t" "$(echo "100 * $t / ($c + 0.0001)" | bc -l)"
done
c=$(count src include pixsvc apps); t=$(count tests)
printf '%-10s %8d %8d %6.0f%%\n' all "$c" "$t" "$(echo "100 * $t / $c" | bc -l)"
