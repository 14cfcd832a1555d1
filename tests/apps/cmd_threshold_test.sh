#!/usr/bin/env bash
# Automatic levels of threshold, blobs and label (--t otsu|isodata|melt|
# adaptive) end to end on a two-level board, and the pixel count at --high.
set -u
source "$(dirname "$0")/cli_common.sh"

# 4 x 4 squares of 16 pixels at 40 and 200: 8 bright squares, half the pixels.
"$kelkit" pattern checkerboard "$work/board.png" --width 64 --height 64 --square 16 \
  --x0 -0.5 --y0 -0.5 --low 40 --high 200 > /dev/null
for rule in otsu isodata; do
  "$kelkit" threshold "$work/board.png" "$work/t_$rule.png" --t $rule --json > "$work/t_$rule.json"; rc=$?
  check "threshold --t $rule exits 0" test $rc -eq 0
  t=$(json_field "$work/t_$rule.json" threshold)
  check "$rule level between the modes" test "$t" -gt 40 -a "$t" -le 200
  check "$rule sets half the pixels" test "$(json_field "$work/t_$rule.json" "pixels set")" = 2048
done
"$kelkit" threshold "$work/board.png" "$work/t_high.png" --t otsu --high 100 --json > "$work/t_high.json"
check "pixels set counts the --high level" test "$(json_field "$work/t_high.json" "pixels set")" = 2048
"$kelkit" blobs "$work/board.png" --t otsu --connect 4 --json > "$work/blobs.json"; rc=$?
check "blobs --t otsu exits 0" test $rc -eq 0
check "blobs --t otsu finds the 8 bright squares" test "$(json_field "$work/blobs.json" blobs)" = 8
"$kelkit" label "$work/board.png" --t isodata --dark --connect 4 --json > "$work/label.json"; rc=$?
check "label --t isodata --dark exits 0" test $rc -eq 0
"$kelkit" threshold "$work/board.png" "$work/t_ad.png" --t adaptive --size 9 --offset 5 --json > "$work/t_ad.json"; rc=$?
check "adaptive threshold exits 0" test $rc -eq 0
"$kelkit" threshold "$work/board.png" "$work/x.png" --t median 2> /dev/null; rc=$?
check "unknown --t rule refused" test $rc -ne 0
"$kelkit" threshold "$work/board.png" "$work/x.png" --t adaptive --size 8 2> /dev/null; rc=$?
check "even adaptive size refused" test $rc -ne 0
exit $((failures > 0))
