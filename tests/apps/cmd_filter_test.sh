#!/usr/bin/env bash
# Runs "kelkit filter" end to end on a generated part: the filters of any
# size with --size, --sigma and --se, exact agreements between operators,
# and the refusals of impossible requests.
set -u
source "$(dirname "$0")/cli_common.sh"
run() {  # run NAME ARGS... : filter NAME into $work/NAME.png with JSON in $work/NAME.json
  local tag="$1"; shift
  "$kelkit" filter "$@" --json > "$work/$tag.json" 2> "$work/$tag.err"
}

"$make_sample" "$work/part.png" 320 240
"$kelkit" stats "$work/part.png" --json > "$work/stats.json"
part_mean=$(json_field "$work/stats.json" mean)

run mean mean "$work/part.png" "$work/mean.png" --size 15; rc=$?
check "mean 15x15" test $rc -eq 0 -a -s "$work/mean.png"
check "mean keeps the mean" python3 -c 'import sys; sys.exit(0 if abs(float(sys.argv[1]) - float(sys.argv[2])) < 2 else 1)' "$(json_field "$work/mean.json" "output mean")" "$part_mean"
check "mean reports its size" test "$(json_field "$work/mean.json" size)" = 15x15
run mean53 mean "$work/part.png" "$work/mean53.png" --size 5x3
check "mean 5x3" test "$(json_field "$work/mean53.json" size)" = 5x3
run gauss gauss "$work/part.png" "$work/gauss.png" --sigma 2
check "gauss sigma 2" test -s "$work/gauss.png"
run unsharp unsharp "$work/part.png" "$work/unsharp.png" --sigma 1 --amount 1.5 --threshold 2
check "unsharp" test -s "$work/unsharp.png"
run median median "$work/part.png" "$work/median.png" --size 5
check "median 5x5" test -s "$work/median.png"
run magnitude magnitude "$work/part.png" "$work/mag.png" --op sobel
check "sobel magnitude finds edges" test "$(json_field "$work/magnitude.json" "output max")" -gt 100

# The minimum of each 3x3 window is the erosion by a 3x3 rectangle, and the
# mean of a 1x1 window is the image itself.
run rank0 rank "$work/part.png" "$work/rank0.png" --size 3 --rank 0
run erode3 erode "$work/part.png" "$work/erode3.png" --se rect:3x3
check "rank 0 equals erosion" cmp -s "$work/rank0.png" "$work/erode3.png"
run mean1 mean "$work/part.png" "$work/mean1.png" --size 1
"$kelkit" stats "$work/mean1.png" --json > "$work/mean1_stats.json"
check "mean 1x1 is the image" test "$(json_field "$work/mean1_stats.json" mean)" = "$part_mean"

for se in rect:15x9 line:21,45 line:9,135 disk:7; do
  for op in erode dilate open close tophat bothat morph-gradient; do
    run "m_$op" "$op" "$work/part.png" "$work/m.png" --se "$se"; rc=$?
    check "$op with $se" test $rc -eq 0
  done
done
check "element reported" test "$(json_field "$work/m_tophat.json" element)" = disk:7
run open_default open "$work/part.png" "$work/open3.png"
check "open defaults to rect:3x3" test -s "$work/open3.png"

"$kelkit" threshold "$work/part.png" "$work/bin.png" --t 60 > /dev/null
for f in thin fill-holes clear-border; do
  run "$f" "$f" "$work/bin.png" "$work/$f.png"; rc=$?
  check "$f" test $rc -eq 0 -a -s "$work/$f.png"
done

# Refusals: exit 1 and a message naming the option or the failing function.
refused() {  # refused NAME PATTERN ARGS...
  local name="$1" pattern="$2"; shift 2
  "$kelkit" filter "$@" > /dev/null 2> "$work/refused.err"; local rc=$?
  check "$name refused" test $rc -eq 1
  check "$name message" grep -q -- "$pattern" "$work/refused.err"
}
refused "mean without --size" "needs --size" mean "$work/part.png" "$work/x.png"
refused "size not a number" "whole number" median "$work/part.png" "$work/x.png" --size 5y
refused "unknown element" "--se must be" erode "$work/part.png" "$work/x.png" --se ring:3
refused "sigma for erode" "does not apply" erode "$work/part.png" "$work/x.png" --sigma 2
refused "line at 30 degrees" "kel_morph_line failed with code 10" erode "$work/part.png" "$work/x.png" --se line:9,30
refused "median window 300" "kel_median_rect failed with code 10" median "$work/part.png" "$work/x.png" --size 300
refused "mean larger than the image" "kel_box_filter2 failed with code 7" mean "$work/part.png" "$work/x.png" --size 255x241
refused "rank beyond the window" "kel_rank_rect failed with code 10" rank "$work/part.png" "$work/x.png" --size 3 --rank 9
refused "gauss sigma 0" "kel_gauss2 failed with code 10" gauss "$work/part.png" "$work/x.png" --sigma 0
refused "unknown filter" "unknown filter" blur "$work/part.png" "$work/x.png"
check "no output written by refusals" test ! -e "$work/x.png"

if [ $failures -ne 0 ]; then echo "$failures check(s) failed"; exit 1; fi
echo "all checks passed"
