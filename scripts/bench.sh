#!/usr/bin/env bash
# Builds the benchmarks (installing OpenCV, FFTW and Google Benchmark from
# Debian's packages when missing), runs them single-threaded with repeated
# measurements, and prints per case kelkit's median, the peer's median and
# their ratio (kelkit / peer; below 1.0 means kelkit is faster).
#
#   scripts/bench.sh [benchmark filter regex] [repetitions]
#
# By default every case runs except the generalized Hough peer of the 360
# search, which takes minutes per search; ask for it with a filter such as
# 'v360'.
set -euo pipefail
cd "$(dirname "$0")/.."

filter="${1:--v360_.inst/cv/}"
reps="${2:-9}"

need=()
dpkg -s libopencv-dev >/dev/null 2>&1 || need+=(libopencv-dev)
dpkg -s libfftw3-dev >/dev/null 2>&1 || need+=(libfftw3-dev)
dpkg -s libbenchmark-dev >/dev/null 2>&1 || need+=(libbenchmark-dev)
dpkg -s pkg-config >/dev/null 2>&1 || need+=(pkg-config)
if ((${#need[@]})); then
  echo "installing ${need[*]}" >&2
  sudo_cmd=""; [[ $(id -u) -eq 0 ]] || sudo_cmd=sudo
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${need[@]}" >/dev/null
fi
scripts/setup.sh

cmake --preset bench >/dev/null
cmake --build --preset bench -j"$(nproc)" >/dev/null

out=build/bench/results.json
OMP_NUM_THREADS=1 OPENCV_FOR_THREADS_NUM=1 build/bench/bench/kelkit_bench \
  --benchmark_filter="$filter" --benchmark_repetitions="$reps" \
  --benchmark_min_time=0.05 --benchmark_report_aggregates_only=true \
  --benchmark_out="$out" --benchmark_out_format=json >/dev/null
python3 scripts/bench_table.py "$out"
