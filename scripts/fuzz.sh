#!/usr/bin/env bash
# Builds every fuzz target with libFuzzer (clang), the libraries themselves
# instrumented and built with AddressSanitizer and UndefinedBehaviorSanitizer,
# and runs each target for the given number of seconds, starting from a copy
# of its committed corpus. Prints executions and coverage per target; the
# exit status is non-zero when any target found a crash, leak, timeout or
# out-of-memory (the reproducer is left in build/fuzz/findings/).
#
#   scripts/fuzz.sh [seconds per target, default 60] [target ...]
set -euo pipefail
cd "$(dirname "$0")/.."
secs="${1:-60}"; shift || true

need=()
for p in clang libclang-rt-14-dev ninja-build cmake libpng-dev libgtest-dev; do
  dpkg -s "$p" >/dev/null 2>&1 || need+=("$p")
done
if ((${#need[@]})); then
  sudo_cmd=""; [[ $(id -u) -eq 0 ]] || sudo_cmd=sudo
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${need[@]}" >/dev/null
fi

build=build/fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DKELKIT_FUZZ=ON -DKELKIT_SANITIZE=ON -DKELKIT_BUILD_APPS=OFF \
  >/dev/null

# target:corpus folder under tests/fuzz
all=(image_file_fuzzer:corpus contour_file_fuzzer:contour_corpus
     crawler_file_fuzzer:crawler_corpus calibration_file_fuzzer:calibration_corpus
     storage_fuzzer:storage_corpus search_block_fuzzer:search_block_corpus)
chosen=()
for entry in "${all[@]}"; do
  if (($# == 0)) || [[ " $* " == *" ${entry%%:*} "* ]]; then chosen+=("$entry"); fi
done
ninja -C "$build" "${chosen[@]%%:*}" >/dev/null

mkdir -p "$build/findings"
status=0
printf '%-26s %12s %8s %8s  %s\n' target executions cov features result
for entry in "${chosen[@]}"; do
  name="${entry%%:*}"; corpus="tests/fuzz/${entry#*:}"
  work="$build/work/$name"; rm -rf "$work"; mkdir -p "$work"; cp -r "$corpus"/. "$work"/
  log="$build/$name.log"
  if "$build/tests/fuzz/$name" -max_total_time="$secs" -timeout=10 -rss_limit_mb=2048 \
      -print_final_stats=1 -artifact_prefix="$build/findings/$name-" "$work" >"$log" 2>&1; then
    result=ok
  else
    result="FAILED (see $log)"; status=1
  fi
  execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo 0)
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -1 | grep -o '[0-9]*' || echo 0)
  ft=$(grep -o 'ft: [0-9]*' "$log" | tail -1 | grep -o '[0-9]*' || echo 0)
  printf '%-26s %12s %8s %8s  %s\n' "$name" "$execs" "$cov" "$ft" "$result"
done
exit $status
