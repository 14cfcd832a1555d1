#!/usr/bin/env bash
# Runs the kelkit tool end to end on generated images and checks exit codes
# and key figures of its JSON output.
set -u
source "$(dirname "$0")/cli_common.sh"

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

# Every command on the generated sample, with key figures from --json.
json_list_len() { python3 -c 'import json,sys; print(len(json.load(open(sys.argv[1]))[sys.argv[2]]))' "$1" "$2"; }
"$kelkit" convert "$work/part.png" "$work/part16.png" --type word --stretch --json > "$work/convert.json"
check "convert to 16 bit" test "$(json_field "$work/convert.json" type)" = WORD
"$kelkit" stats "$work/part16.png" --json > "$work/stats16.json"
check "stretched 16-bit maximum" test "$(json_field "$work/stats16.json" max)" = 65535
"$kelkit" threshold "$work/part.png" "$work/bin.png" --t 200 --json > "$work/threshold.json"
check "threshold sets the fiducials" test "$(json_field "$work/threshold.json" "pixels set")" -gt 0
"$kelkit" blobs "$work/part.png" --t 200 --min-area 20 --json > "$work/blobs.json"
check "blobs finds the two fiducials" test "$(json_field "$work/blobs.json" blobs)" = 2
check "blob list has two records" test "$(json_list_len "$work/blobs.json" "blob list")" = 2
"$kelkit" blobs "$work/part.png" --t 60 --dark --connect 4 --min-area 500 --json > "$work/holes.json"
check "dark blobs find the bore" test "$(json_field "$work/holes.json" blobs)" -ge 1
for f in laplace sobelxy erode dilate kirsch; do
  "$kelkit" filter $f "$work/part.png" "$work/f_$f.png" --json > "$work/f_$f.json"; rc=$?
  check "filter $f" test $rc -eq 0 -a -s "$work/f_$f.png"
done
"$kelkit" filter kirsch "$work/part.png" "$work/k.png" --direction 9 > /dev/null 2> "$work/kirsch_err.txt"; rc=$?
check "kirsch direction 9 refused" test $rc -eq 1
check "kirsch error names the function" grep -q "kel_kirsch failed with code 10" "$work/kirsch_err.txt"
"$kelkit" caliper "$work/part.png" 20 120 300 120 --json > "$work/caliper.json"
check "caliper finds the plate edges" python3 -c 'import json,sys; d=json.load(open(sys.argv[1])); sys.exit(0 if abs(d["edge 1 x"]-48)<3 and abs(d["edge 2 x"]-272)<3 else 1)' "$work/caliper.json"
"$kelkit" edges "$work/part.png" 20 120 300 120 --threshold 30 --json > "$work/edges.json"
check "edges along the line" test "$(json_field "$work/edges.json" rising)" -ge 1
"$kelkit" search train "$work/part.png" 50 38 30 30 "$work/fid.txt" --json > "$work/train.json"
check "search train" test -s "$work/fid.txt"
"$kelkit" search find "$work/fid.txt" "$work/part.png" --count 2 --json > "$work/find.json"
check "search finds both fiducials" test "$(json_field "$work/find.json" found)" = 2
"$kelkit" fft "$work/part.png" "$work/pow.png" "$work/ph.png" --json > "$work/fft.json"
check "fft centres frequency 0" python3 -c 'import json,sys; d=json.load(open(sys.argv[1])); sys.exit(0 if d["largest at x"]==d["transform width"]//2 and d["largest at y"]==d["transform height"]//2 else 1)' "$work/fft.json"
"$kelkit" noise "$work/n1.png" --seed 3 --json > "$work/n1.json"
"$kelkit" noise "$work/n1b.png" --seed 3 > /dev/null
check "noise is reproducible" cmp -s "$work/n1.png" "$work/n1b.png"
"$kelkit" noise "$work/n2.png" --gauss --seed 4 > /dev/null
"$kelkit" average "$work/avg.png" "$work/n1.png" "$work/n1b.png" --json > "$work/avg.json"
check "average of equal images is the image" test "$(json_field "$work/avg.json" mean)" = "$(json_field "$work/n1.json" mean)"

"$kelkit" label "$work/part.png" --t 60 --dark --connect 4 --sort area --out "$work/labels.png" --json > "$work/label.json"
check "label finds objects" test "$(json_field "$work/label.json" objects)" -ge 2
check "labelled image written" test -s "$work/labels.png"
"$kelkit" rotsearch train "$work/part.png" 50 38 30 30 "$work/rot.txt" --angles 5 --json > "$work/rtrain.json"
check "rotsearch train" test "$(json_field "$work/rtrain.json" angles)" = 5
"$kelkit" rotsearch find "$work/rot.txt" "$work/part.png" --count 2 --json > "$work/rfind.json"
check "rotsearch finds the trained fiducial" python3 -c 'import json,sys; m=json.load(open(sys.argv[1]))["matches"][0]; sys.exit(0 if abs(m["x"]-64.5)<0.5 and abs(m["y"]-52.5)<0.5 and abs(m["angle"])<0.5 else 1)' "$work/rfind.json"
"$kelkit" search360 train "$work/part.png" 45 30 40 40 "$work/c360.txt" --json > /dev/null
check "search360 parameter file" test -s "$work/c360.txt"
"$kelkit" search360 find "$work/c360.txt" "$work/part.png" --count 2 --json > "$work/v360.json"
check "search360 finds both fiducials" test "$(json_field "$work/v360.json" found)" = 2
for s in 1 2 3 4 5 6; do
  "$kelkit" noise "$work/good$s.png" --width 128 --height 96 --gauss --mean 128 --dev 4 --seed $s > /dev/null
done
"$kelkit" inspect learn "$work/state.kis" "$work"/good[1-5].png --box 16 --json > "$work/learn.json"
check "inspect learns five images" test "$(json_field "$work/learn.json" "images learned")" = 5
"$kelkit" inspect check "$work/state.kis" "$work/good6.png" --json > "$work/check.json"
check "inspect passes a good image" test "$(json_field "$work/check.json" verdict)" = PASS
"$kelkit" inspect check "$work/state.kis" "$work/part.png" > /dev/null 2> "$work/size_err.txt"; rc=$?
check "inspect refuses another size" test $rc -eq 1
check "inspect size error names the function" grep -q "kel_vela_inspect_check failed with code 5" "$work/size_err.txt"

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
