#!/usr/bin/env bash
# Runs `kelkit demo` and compares what it reports with the ground truth of
# the scene it made: positions within 1 px, angles within 1 degree, counts
# exact, the caliper width within 0.5 px, the scratch found, and the
# annotated images written. The same seed must give the same scene.
set -u
kelkit="$1"; work="$2"
rm -rf "$work"; mkdir -p "$work"
failures=0
check() {  # check NAME CONDITION...
  local name="$1"; shift
  if "$@"; then echo "ok   $name"; else echo "FAIL $name"; failures=$((failures + 1)); fi
}

verify() {  # verify JSON_FILE PIXELS: prints "ok"/"FAIL" lines, exits non-zero on a failure;
            # PIXELS 1 also reads the images back (slow in pure Python)
  python3 - "$1" "$2" <<'PY'
import json, math, os, struct, sys, zlib

j = json.load(open(sys.argv[1]))
bad = 0
def check(name, cond):
    global bad
    print(("ok   " if cond else "FAIL ") + name)
    bad += 0 if cond else 1

truth = j["truth"]
def kind(what):
    return [t for t in truth if t["what"] == what]
fids, holes = kind("fiducial"), kind("hole")
parts = kind("part") + kind("part (turned)")
turned = kind("part (turned)")
caliper, scratch = kind("caliper line"), kind("scratch")
check("truth lists 3 fiducials, 5 parts (1 turned), 15 holes, caliper, scratch",
      (len(fids), len(parts), len(turned), len(holes), len(caliper), len(scratch)) == (3, 5, 1, 15, 1, 1))
check("the turned part is turned by 23 degrees", abs(turned[0]["angle"] - 23) < 1e-9)

def matches(found, wanted, tol, label):
    """Every found point lies within tol of a distinct true point, and every
    true point is found."""
    used = set()
    for f in found:
        d, k = min((math.hypot(f["x"] - t["x"], f["y"] - t["y"]), k) for k, t in enumerate(wanted))
        if d > tol or k in used:
            print("     %s at (%.3f, %.3f): nearest truth %.3f px away" % (label, f["x"], f["y"], d))
            return False
        used.add(k)
    return len(used) == len(wanted)

check("fiducials: 3 found within 1 px", len(j["fiducials"]) == 3 and matches(j["fiducials"], fids, 1.0, "mark"))
check("fiducials: scores of a good match", all(f["score"] >= 80 for f in j["fiducials"]))

rs = j["rotated search"]
check("360 search: every part found within 1 px", len(rs) == 5 and matches(rs, parts, 1.0, "part"))
def angle_err(r):
    t = min(parts, key=lambda t: math.hypot(r["x"] - t["x"], r["y"] - t["y"]))
    return abs((r["angle"] - t["angle"] + 180) % 360 - 180)
check("360 search: angles within 1 degree", rs and max(angle_err(r) for r in rs) <= 1.0)
check("360 search: the turned part at 23 degrees",
      any(abs((r["angle"] - 23 + 180) % 360 - 180) <= 1.0 and
          math.hypot(r["x"] - turned[0]["x"], r["y"] - turned[0]["y"]) <= 1.0 for r in rs))

check("blobs: part count exact", len(j["parts"]) == len(parts))
check("blobs: hole count exact", len(j["holes"]) == len(holes))
check("blobs: hole centres within 1 px", matches(j["holes"], holes, 1.0, "hole"))
check("blobs: part centroids within 1 px of the parts' true centroids",
      all(p["error"] <= 1.0 for p in j["parts"]))
check("blobs: part areas near 110 x 64 less the pin mark (pixel edges: up to a row and a column more)",
      all(abs(p["area"] - (110 * 64 - math.pi * 36)) < 200 for p in j["parts"]))
check("blobs: hole areas near pi 7^2", all(abs(h["area"] - math.pi * 49) < 12 for h in j["holes"]))
check("blobs: boxes hold their centroids",
      all(b["xmin"] <= b["x"] <= b["xmax"] and b["ymin"] <= b["y"] <= b["ymax"]
          for b in j["parts"] + j["holes"]))

c = j["caliper"][0]
check("caliper: width within 0.5 px", abs(c["width"] - caliper[0]["size"]) <= 0.5)
check("caliper: both edges within 0.5 px", abs(c["x1"] - c["true x1"]) <= 0.5 and abs(c["x2"] - c["true x2"]) <= 0.5)
check("caliper: line across the caliper part", abs(c["y"] - caliper[0]["y"]) < 1e-9)

g = j["defect groups"]
sx, sy = scratch[0]["x"], scratch[0]["y"]
check("inspection: one defect group", len(g) == 1)
check("inspection: the group holds the scratch",
      any(d["x"] <= sx < d["x"] + d["dx"] and d["y"] <= sy < d["y"] + d["dy"] for d in g))

check("every step within tolerance",
      all(s["check"] in ("ok", "-") for s in j["steps"]))

def load_png(path):
    """8-bit grey PNG -> list of rows (bytes), with the five row filters."""
    data = open(path, "rb").read()
    pos, idat, w, h = 8, b"", 0, 0
    while pos < len(data):
        n, tag = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + n]
        if tag == b"IHDR":
            w, h, depth, colour = struct.unpack(">IIBB", body[:10])
            assert depth == 8 and colour == 0, "not 8-bit grey"
        elif tag == b"IDAT":
            idat += body
        pos += 12 + n
    raw, rows, prev = zlib.decompress(idat), [], bytearray(w)
    for y in range(h):
        f, line = raw[y * (w + 1)], bytearray(raw[y * (w + 1) + 1:(y + 1) * (w + 1)])
        for x in range(w):
            a = line[x - 1] if x else 0
            b, c = prev[x], (prev[x - 1] if x else 0)
            if f == 1: line[x] = (line[x] + a) & 255
            elif f == 2: line[x] = (line[x] + b) & 255
            elif f == 3: line[x] = (line[x] + (a + b) // 2) & 255
            elif f == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[x] = (line[x] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(bytes(line))
        prev = line
    return rows

files = [i["file"] for i in j["images"]]
check("three images listed", sorted(os.path.basename(f) for f in files) == ["annotated.png", "defects.png", "scene.png"])
for f in files:
    ok = os.path.isfile(f)
    if ok:
        head = open(f, "rb").read(24)
        ok = head[:8] == b"\x89PNG\r\n\x1a\n" and struct.unpack(">II", head[16:24]) == (1024, 768)
    check("1024x768 PNG " + os.path.basename(f), ok)

# The scene holds what the truth says, and the marks land where the steps
# found things.
by_name = {os.path.basename(f): f for f in files}
if sys.argv[2] == "1" and len(by_name) == 3 and all(os.path.isfile(f) for f in files):
    scene, marked = load_png(by_name["scene.png"]), load_png(by_name["annotated.png"])
    px = lambda img, x, y: img[int(round(y))][int(round(x))]
    check("scene: holes dark", all(px(scene, h["x"], h["y"]) < 45 for h in holes))
    check("scene: parts bright at their centres", all(px(scene, p["x"], p["y"]) > 160 for p in parts))
    check("scene: bare board between the parts", 80 < px(scene, 200, 300) < 140)
    check("scene: dark around the board", px(scene, 5, 5) < 50 and px(scene, 1018, 762) < 50)
    check("scene: fiducial ring bright 14.5 px above the centre",
          all(px(scene, f["x"], f["y"] - 14.5) > 170 for f in fids))
    check("scene: the scratch darker than the board nearby",
          px(scene, scratch[0]["x"], scratch[0]["y"]) + 20 < px(scene, scratch[0]["x"] + 15, scratch[0]["y"]))
    check("annotated: a white cross on every found fiducial",
          all(px(marked, f["x"], f["y"]) == 255 and px(marked, f["x"] + 20, f["y"]) == 255 for f in j["fiducials"]))
    check("annotated: white crosses on both caliper edges",
          px(marked, c["x1"], c["y"] - 6) == 255 and px(marked, c["x2"], c["y"] - 6) == 255)
    check("annotated: a white box two pixels outside every hole",
          all(px(marked, b["xmin"] - 2, b["y"]) == 255 and px(marked, b["xmax"] + 2, b["y"]) == 255 for b in j["holes"]))
    check("annotated: unmarked board unchanged", px(marked, 200, 300) == px(scene, 200, 300))
    if j["defect groups"]:
        d = j["defect groups"][0]
        defects = load_png(by_name["defects.png"])
        check("defects: the group's frame drawn", px(defects, d["x"] - 3, d["y"] + d["dy"] // 2) == 255)
sys.exit(1 if bad else 0)
PY
}

for seed in 1 7; do
  "$kelkit" demo --json --out "$work/seed$seed" --seed "$seed" > "$work/seed$seed.json"; rc=$?
  check "demo seed $seed exits 0" test $rc -eq 0
  verify "$work/seed$seed.json" $((seed == 1)) || failures=$((failures + 1))
done
check "annotations drawn (annotated differs from scene)" \
  bash -c "! cmp -s '$work/seed1/scene.png' '$work/seed1/annotated.png'"

# The readable table, and the same scene again from the same seed.
"$kelkit" demo --out "$work/table" --seed 1 > "$work/table.txt"; rc=$?
check "demo table exits 0" test $rc -eq 0
check "table has the steps" grep -q "^steps:" "$work/table.txt"
check "table has the caliper row" grep -q "width (caliper)" "$work/table.txt"
check "table has the fiducial row" grep -q "fiducials (correlation search)" "$work/table.txt"
check "same seed, same scene" cmp -s "$work/seed1/scene.png" "$work/table/scene.png"
check "other seed, other scene" bash -c "! cmp -s '$work/seed1/scene.png' '$work/seed7/scene.png'"

# Bad arguments.
"$kelkit" demo --seed abc --out "$work/bad" > /dev/null 2> "$work/err1.txt"; rc=$?
check "non-numeric seed exits 1" test $rc -eq 1
check "non-numeric seed names the option" grep -q -- "--seed" "$work/err1.txt"
"$kelkit" demo --seed 1.5 --out "$work/bad" > /dev/null 2>&1; rc=$?
check "fractional seed exits 1" test $rc -eq 1
touch "$work/plainfile"
"$kelkit" demo --out "$work/plainfile" > /dev/null 2> "$work/err2.txt"; rc=$?
check "output folder that is a file exits 1" test $rc -eq 1
check "output folder failure is explained" grep -q "output folder" "$work/err2.txt"
"$kelkit" demo extra > /dev/null 2>&1; rc=$?
check "stray argument exits 1" test $rc -eq 1

echo "$failures failure(s)"
test $failures -eq 0
