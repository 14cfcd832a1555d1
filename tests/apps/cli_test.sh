#!/usr/bin/env bash
# Runs the kelkit tool end to end on generated images and checks exit codes
# and key figures of its JSON output.
set -u
kelkit="$1"; make_sample="$2"; work="$3"
rm -rf "$work"; mkdir -p "$work"
failures=0
check() {  # check NAME CONDITION...
  local name="$1"; shift
  if "$@"; then echo "ok   $name"; else echo "FAIL $name"; failures=$((failures + 1)); fi
}
json_field() {  # json_field FILE KEY -> value
  python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))[sys.argv[2]])' "$1" "$2"
}

"$kelkit" --help > "$work/help.txt"; rc=$?
check "help exits 0" test $rc -eq 0
check "help names stats" grep -q "stats IMAGE" "$work/help.txt"
check "help explains the processor switch" grep -q "kel_set_use_mmx(0)" "$work/help.txt"

"$kelkit" info --json > "$work/info.json"
check "info reports the switch off" test "$(json_field "$work/info.json" "processor switch")" = "off (every operator computes)"

"$make_sample" "$work/part.png" 320 240
check "sample written" test -s "$work/part.png"
"$kelkit" stats "$work/part.png" --json > "$work/stats.json"; rc=$?
check "stats exits 0" test $rc -eq 0
check "stats width" test "$(json_field "$work/stats.json" width)" = 320
check "stats height" test "$(json_field "$work/stats.json" height)" = 240
check "stats type" test "$(json_field "$work/stats.json" type)" = BYTE
check "stats max is a fiducial" test "$(json_field "$work/stats.json" max)" -ge 245
check "stats min is the bore" test "$(json_field "$work/stats.json" min)" -le 30
"$kelkit" stats "$work/part.png" > "$work/stats.txt"
check "stats table has a median" grep -q "^median" "$work/stats.txt"

for ext in pgm bmp; do
  "$make_sample" "$work/part.$ext" 320 240
  "$kelkit" stats "$work/part.$ext" --json > "$work/stats_$ext.json"
  check "stats of .$ext equals .png" test "$(json_field "$work/stats_$ext.json" mean)" = "$(json_field "$work/stats.json" mean)"
done

"$kelkit" stats "$work/missing.png" > /dev/null 2> "$work/err.txt"; rc=$?
check "missing file exits 1" test $rc -eq 1
check "missing file names the function and code" grep -q "im_file_load failed with code 30\|failed with code 30" "$work/err.txt"
printf 'P5\n10 10\n255\nshort' > "$work/truncated.pgm"
"$kelkit" stats "$work/truncated.pgm" > /dev/null 2> "$work/err2.txt"; rc=$?
check "truncated file exits 1" test $rc -eq 1
check "truncated file reports code 31" grep -q "code 31" "$work/err2.txt"
"$kelkit" nosuchcommand > /dev/null 2>&1; rc=$?
check "unknown command exits 2" test $rc -eq 2

if [ $failures -ne 0 ]; then echo "$failures check(s) failed"; exit 1; fi
echo "all checks passed"
