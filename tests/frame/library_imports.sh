#!/usr/bin/env bash
# The operator library may import from the image services only the functions
# a replacement service library is promised to provide; any other im_ import
# would stop the library loading against such a replacement.
set -u
lib="$1"
allowed="im_create im_delete im_rroi im_rroi_master im_move_rroi im_resize_rroi im_dup
im_duplicate im_copy im_copy2 im_same_image im_get_interpolated_pixel im_get_line_from_img
im_file_read im_file_write im_file_get_size im_error im_warn im_get_msec_count im_cpu_has_mmx
im_create_hw"
imports=$(nm -D --undefined-only "$lib" | awk '{print $2}' | sed 's/@.*//' | grep '^im_')
[ -n "$imports" ] || { echo "FAIL no im_ imports read from $lib"; exit 1; }
status=0
for f in $imports; do
  if ! grep -qw "$f" <<< "$allowed"; then echo "FAIL unlisted import $f"; status=1; fi
done
[ $status -eq 0 ] && echo "ok   $(wc -w <<< "$imports") im_ imports, all listed"
exit $status
