#!/usr/bin/env bash
# kelkit pattern end to end: each pattern is written and reads back with the
# levels its formula gives; unknown patterns and types are refused.
set -u
source "$(dirname "$0")/cli_common.sh"

for p in checkerboard gaussian wedge bars grid wave; do
  "$kelkit" pattern $p "$work/$p.png" --width 64 --height 48; rc=$?
  check "pattern $p exits 0" test $rc -eq 0
done
# Squares of 16 with corners on pixel borders: only the two levels.
"$kelkit" pattern checkerboard "$work/board.pgm" --width 64 --height 64 --square 16 --x0 -0.5 --y0 -0.5 --low 20 --high 220
"$kelkit" stats "$work/board.pgm" --json > "$work/board.json"
check "board minimum" test "$(json_field "$work/board.json" min)" = 20
check "board maximum" test "$(json_field "$work/board.json" max)" = 220
check "board mean" test "$(json_field "$work/board.json" mean)" = 120
"$kelkit" pattern wedge "$work/wedge.png" --width 256 --height 4 --type word --json > "$work/wedge.json"
check "wedge is 16-bit" test "$(json_field "$work/wedge.json" type)" = WORD
"$kelkit" pattern spiral "$work/x.png" 2>/dev/null; rc=$?
check "unknown pattern refused" test $rc -ne 0
"$kelkit" pattern wave "$work/x.png" --type float 2>/dev/null; rc=$?
check "float type refused" test $rc -ne 0
"$kelkit" pattern wave "$work/x.png" --width 0 2>/dev/null; rc=$?
check "zero width refused" test $rc -ne 0
exit $((failures > 0))
