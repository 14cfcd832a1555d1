# Shared by the tool's end-to-end scripts, sourced after "set -u" with the
# arguments KELKIT MAKE_SAMPLE WORK_DIR: a fresh work folder, check NAME
# CONDITION... counting failures, and json_field FILE KEY.
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
