#!/usr/bin/env bash
# The shared libraries export exactly the functions their public headers
# declare: nothing internal (no C++ symbols), and nothing declared missing.
set -u
lib="$1"; headers="$2"; api="$3"  # headers: one header, or a folder of them
[ -d "$headers" ] && headers=("$headers"/*.h) || headers=("$headers")
status=0
exported=$(nm -D --defined-only "$lib" | awk '$2 ~ /^[TW]$/ {print $3}' | sed 's/@.*//' | sort -u)
declared=$(cat "${headers[@]}" | tr '\n' ' ' | grep -oE "$api[^;{]*\b[a-z][a-z0-9]*_[A-Za-z0-9_]+ *\(" |
           sed -E 's/ *\($//; s/.*[^A-Za-z0-9_]//' | sort -u)
extra=$(comm -23 <(echo "$exported") <(echo "$declared"))
missing=$(comm -13 <(echo "$exported") <(echo "$declared"))
[ -z "$extra" ] || { echo "FAIL exported but not declared:"; echo "$extra" | head -20; status=1; }
[ -z "$missing" ] || { echo "FAIL declared but not exported:"; echo "$missing" | head -20; status=1; }
[ $status -eq 0 ] && echo "ok   $(echo "$exported" | wc -l) exported names, all declared"
exit $status
