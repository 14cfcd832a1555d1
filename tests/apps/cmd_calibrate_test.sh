#!/usr/bin/env bash
# End-to-end check of kelkit calibrate, measure and chessboard: rendered
# views of a 9 x 6 board through a simulated camera (focal length 800 px,
# barrel distortion) are calibrated, and distances are measured back in
# world units through the calibration file.
set -u
source "$(dirname "$0")/cli_common.sh"
near() {  # near VALUE EXPECTED TOLERANCE
  python3 -c 'import sys; v,e,t=map(float,sys.argv[1:]); sys.exit(0 if abs(v-e)<=t else 1)' "$@"
}

board=(--cols 9 --rows 6 --square 10 --f 800 --k1 -0.1 --blur 1 --noise 1)
views=("--tilt-x 0 --tilt-y 0 --roll 0 --distance 300"
       "--tilt-x 30 --tilt-y 0 --roll 10"
       "--tilt-x -25 --tilt-y 15 --roll 100"
       "--tilt-x 10 --tilt-y 30 --roll -40"
       "--tilt-x -15 --tilt-y -30 --roll 170")
for i in "${!views[@]}"; do
  # shellcheck disable=SC2086
  "$kelkit" chessboard "$work/view$i.png" "${board[@]}" ${views[$i]} --seed $((i + 1)) --json \
    > "$work/view$i.json"; rc=$?
  check "chessboard view $i rendered" test $rc -eq 0 -a -s "$work/view$i.png"
done

# A blank sample among the views: listed as not found, the rest calibrate.
"$make_sample" "$work/part.png" 640 480
"$kelkit" calibrate "$work"/view{0,1,2,3,4}.png "$work/part.png" --cols 9 --rows 6 --square 10 \
  --out "$work/camera.txt" --json > "$work/calibrate.json"; rc=$?
check "calibrate exits 0" test $rc -eq 0
check "calibrate finds five boards" test "$(json_field "$work/calibrate.json" "boards found")" = 5
check "focal length within 0.2 %" near "$(json_field "$work/calibrate.json" fx)" 800 1.6
check "residual below 0.1 px" near "$(json_field "$work/calibrate.json" "rms residual px")" 0 0.1
check "calibration file written" grep -q "^kelkit-xfm 1" "$work/camera.txt"
python3 -c 'import json,sys; r=json.load(open(sys.argv[1]))["residuals"]; sys.exit(0 if r[5]["board"]=="not found" and r[5]["rms px"]=="-" and all(float(x["rms px"])<0.1 for x in r[:5]) else 1)' "$work/calibrate.json"
check "residual table per image" test $? -eq 0
"$kelkit" calibrate "$work"/view{1,2}.png --cols 9 --rows 6 --square 10 --out "$work/c.txt" > "$work/table.txt"
check "text table lists the images" grep -q "view2.png.*found" "$work/table.txt"

# Measuring on the plane of view 0 (frontal, 300 away): corner 0 to the last
# corner is sqrt(80^2 + 50^2).
x0=$(json_field "$work/view0.json" "corner 0 x"); y0=$(json_field "$work/view0.json" "corner 0 y")
x1=$(json_field "$work/view0.json" "last corner x"); y1=$(json_field "$work/view0.json" "last corner y")
"$kelkit" measure "$work/camera.txt" "$x0" "$y0" "$x1" "$y1" --json > "$work/measure.json"; rc=$?
check "measure exits 0" test $rc -eq 0
check "measured diagonal" near "$(json_field "$work/measure.json" "world distance")" 94.3398 0.05

# A caliper along the first row of squares of view 0 (world y = -5), from
# the margin left of the board to the margin right of it: with threshold 30
# each end's search stops at the first dark-to-light edge it meets, the
# square edges at x = 0 and x = 70.
read -r cx0 cy cx1 < <(python3 -c '
import json,sys
v=json.load(open(sys.argv[1])); x0,y0,x1,y1=v["corner 0 x"],v["corner 0 y"],v["last corner x"],v["last corner y"]
s=(x1-x0)/80.0
print(x0-15*s, y0-5*s, x0+95*s)' "$work/view0.json")
"$kelkit" measure "$work/camera.txt" "$cx0" "$cy" "$cx1" "$cy" --caliper "$work/view0.png" --json > "$work/caliper.json"; rc=$?
check "caliper measure exits 0" test $rc -eq 0
check "caliper width in world units" near "$(json_field "$work/caliper.json" "world distance")" 70 0.05
check "caliper first edge" near "$(json_field "$work/caliper.json" "world 1 x")" 0 0.05
check "caliper on the row" near "$(json_field "$work/caliper.json" "world 2 y")" -5 0.05

# Refusals.
"$kelkit" calibrate "$work/view0.png" --cols 9 --rows 6 --square 10 --out "$work/x.txt" 2> "$work/err1.txt"; rc=$?
check "one image refused" test $rc -eq 1
"$kelkit" calibrate "$work"/view{0,1}.png --cols 9 --rows 6 --out "$work/x.txt" 2> "$work/err2.txt"; rc=$?
check "missing --square refused" test $rc -eq 1
"$kelkit" calibrate "$work"/view{0,1}.png --cols 8 --rows 6 --square 10 --out "$work/x.txt" 2> "$work/err3.txt"; rc=$?
check "wrong board size: not found" test $rc -eq 1
check "not found is said" grep -q "not found" "$work/err3.txt"
check "no file for a failed calibration" test ! -e "$work/x.txt"
printf 'kelkit-xfm 1\nkind 3\nintrinsics 0 0 0 0 0\n' > "$work/bad.txt"
"$kelkit" measure "$work/bad.txt" 1 2 3 4 2> "$work/err4.txt"; rc=$?
check "corrupt calibration file refused" test $rc -eq 1
check "corrupt file named as such" grep -q "code 112" "$work/err4.txt"
"$kelkit" measure "$work/camera.txt" 1 2 3 2> "$work/err5.txt"; rc=$?
check "missing coordinate refused" test $rc -eq 1
"$kelkit" measure "$work/camera.txt" 10 10 60 10 --caliper "$work/part.png" --threshold 250 2> "$work/err6.txt"; rc=$?
check "caliper without edges refused" test $rc -eq 1
check "caliper without edges: not found" grep -q "not found" "$work/err6.txt"

echo "$failures failure(s)"
test $failures -eq 0
