#!/usr/bin/env bash
# The lxscan tool from the outside: exit status, messages, and what is left
# on disk, one case per run:  tool_test.sh LXSCAN CASE WORKDIR
# Exit 0 passed, 1 failed, 77 skipped (with the reason on standard output).
set -u
LXSCAN=$1
CASE=$2
WORK=$3
rm -rf "$WORK" && mkdir -p "$WORK" && cd "$WORK" || exit 1

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
skip() { echo "SKIPPED: $*"; exit 77; }

# run EXPECTED_STATUS ARGS...: runs lxscan, keeps stdout/stderr in out/err.
run() {
  local expected=$1
  shift
  "$LXSCAN" "$@" >out 2>err
  local status=$?
  if [ "$status" -ne "$expected" ]; then
    fail "lxscan $* exited $status, expected $expected; stderr: $(cat err)"
  fi
  return 0
}
expect_err() { grep -qF -- "$1" err || fail "stderr lacks '$1': $(cat err)"; }
expect_out() { grep -qF -- "$1" out || fail "stdout lacks '$1': $(cat out)"; }
# refused INPUT MESSAGE: converting INPUT over scan.lxs fails with MESSAGE
# and leaves scan.lxs as it was.
refused() {
  run 1 convert "$1" -o scan.lxs
  expect_err "$2"
  same scan.lxs scan.copy
}
# same FILE COPY: FILE is still byte for byte COPY.
same() { cmp -s "$1" "$2" || fail "$1 changed"; }
no_temporaries() {
  local left
  left=$(find "${1:-.}" -maxdepth 1 -name '.*.??????' | head -1)
  [ -z "$left" ] || fail "temporary left behind: $left"
}
have_python_open3d() { /usr/bin/python3 -c 'import open3d' >/dev/null 2>&1; }
is_root() { [ "$(id -u)" -eq 0 ]; }

# A small scan to work on, and a copy of it to compare with.
make_scan() {
  "$LXSCAN" -q demo --points 20000 -o scan.lxs || { echo "cannot make a scan"; exit 1; }
  cp scan.lxs scan.copy
}

case "$CASE" in
command_line)
  run 2
  run 2 frobnicate
  run 2 convert
  run 2 convert in.txt
  run 2 demo --pose 1,2,3
  expect_err "--pose: expected YAW,X,Y,Z"
  run 2 demo --pose 1,2,x,4
  expect_err "'x' is not a number"
  run 2 demo --pose 1,2,3,nan
  run 2 demo --threads 0
  make_scan
  run 2 export scan.lxs out.ply
  run 2 export scan.lxs --ply --xyz out.ply
  run 2 convert in.txt -o x.lxs --format xyzabc
  run 0 --help
  expect_out "convert"
  run 0 export --help
  [ -e x.lxs ] && fail "x.lxs was written"
  ;;

demo)
  run 0 demo --points 30000 -o demo.lxs
  expect_out "wrote     demo.lxs (read back and compared)"
  run 0 verify demo.lxs
  expect_out "verified  demo.lxs: 30000 points"
  run 0 info demo.lxs
  expect_out "records   30000 points, 32 bytes each"
  run 0 info --json demo.lxs
  if [ -x /usr/bin/python3 ]; then
    /usr/bin/python3 -c 'import json,sys; d=json.load(open("out")); assert d["points"]==30000 and d["has_normals"], d' ||
      fail "info --json is not the expected JSON"
  fi
  run 0 -q demo --points 1000 -o quiet.lxs
  [ -s out ] && fail "-q printed: $(cat out)"
  run 0 export demo.lxs --xyz demo.txt
  [ "$(wc -l <demo.txt)" -eq 30000 ] || fail "demo.txt has $(wc -l <demo.txt) lines"
  run 0 export demo.lxs --png demo.png
  run 0 export demo.lxs --ply demo.ply
  head -c 3 demo.ply | grep -q ply || fail "demo.ply is no PLY"
  # The exported text and PLY convert back to the same points.
  run 0 convert demo.ply -o fromply.lxs
  run 0 convert demo.txt -o fromtext.lxs
  for f in fromply.lxs fromtext.lxs; do
    run 0 info --json $f
    grep -q '"points": 30000' out || fail "$f: $(cat out)"
  done
  no_temporaries
  ;;

bad_text)
  make_scan
  printf '1 2 3\n4 5 6\n7 eight 9\n' >malformed.txt
  cp malformed.txt malformed.copy
  refused malformed.txt "malformed.txt:3"
  same malformed.txt malformed.copy
  : >empty.txt
  refused empty.txt "empty.txt"
  printf '1 2 3\nnan 5 6\n7 8 9\n' >nan.txt
  refused nan.txt "nan.txt:2"
  printf '1 2 3\n4 5 inf\n' >inf.txt
  refused inf.txt "inf.txt:2"
  # CRLF lines read like LF lines.
  printf '1 2 3\r\n4 5 6\r\n7 8 9\r\n' >crlf.txt
  run 0 convert crlf.txt -o crlf.lxs
  expect_out "3 points"
  no_temporaries
  ;;

text_skip_bom)
  # Invalid points skipped and counted; a byte order mark skipped.
  printf '1 2 3\nnan 5 6\n7 8 9\n' >nan.txt
  run 0 convert nan.txt -o skipped.lxs --skip-invalid
  expect_out "1 invalid skipped"
  printf '\xef\xbb\xbf1 2 3\r\n4 5 6\r\n' >bom.txt
  run 0 convert bom.txt -o bom.lxs
  expect_out "2 points"
  ;;

bad_ply)
  make_scan
  printf 'ply\nformat ascii 1.0\nelement vertex 5\nproperty float x\nproperty float y\nproperty float z\nend_header\n1 2 3\n4 5 6\n' >short.ply
  refused short.ply "short.ply:9: the file ends after 2 of the 5 vertices"
  printf 'ply\nformat binary_middle_endian 1.0\nelement vertex 1\nproperty float x\nend_header\n' >format.ply
  refused format.ply "format.ply:2: unknown PLY format"
  printf 'ply\nformat binary_little_endian 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\nend_header\n0123456789ab01234' >cut.ply
  refused cut.ply "cut.ply: byte 132: the file ends inside vertex 1 of the 3"
  printf 'ply\nformat ascii 1.0\nelement vertex 1\nproperty list uchar float x\nend_header\n' >list.ply
  refused list.ply "list.ply:4: a list property ('x') in the vertex element"
  no_temporaries
  ;;

outputs)
  make_scan
  printf '1 2 3\n4 5 6\n' >in.txt
  cp in.txt in.copy
  # The same file under two spellings, as input and output or twice as output.
  run 1 convert in.txt -o ./in.txt
  expect_err "is the input in.txt; refusing to overwrite it"
  same in.txt in.copy
  ln in.txt hard.txt
  run 1 convert in.txt -o hard.txt
  same in.txt in.copy
  ln -s scan.lxs link.lxs
  run 1 export scan.lxs --ply link.lxs
  same scan.lxs scan.copy
  # Missing and read-only directories.
  run 1 convert in.txt -o missing/out.lxs
  expect_err "missing/out.lxs"
  mkdir ro && cp scan.lxs ro/scan.lxs
  if is_root && mount -t tmpfs -o size=1m tmpfs ro 2>/dev/null; then
    cp scan.lxs ro/scan.lxs && mount -o remount,ro ro
    run 1 convert in.txt -o ro/scan.lxs
    same ro/scan.lxs scan.copy
    umount ro
  elif ! is_root; then
    chmod 500 ro
    run 1 convert in.txt -o ro/scan.lxs
    same ro/scan.lxs scan.copy
    chmod 700 ro
  else
    echo "read-only directory not checked: cannot mount a tmpfs"
  fi
  # A symlink is followed and stays; a 600 file stays 600.
  cp scan.lxs target.lxs && ln -s target.lxs out.lxs && chmod 600 target.lxs
  run 0 convert in.txt -o out.lxs
  [ -L out.lxs ] || fail "the link out.lxs was replaced"
  [ "$(stat -c %a target.lxs)" = 600 ] || fail "target.lxs has mode $(stat -c %a target.lxs)"
  cmp -s target.lxs scan.copy && fail "target.lxs was not written"
  # Devices and FIFOs are written in place.
  run 0 export scan.lxs --ply /dev/null
  [ -c /dev/null ] || fail "/dev/null is no longer a character device"
  run 1 export scan.lxs --ply /dev/full
  expect_err "/dev/full: cannot write"
  mkfifo fifo
  cat fifo >from_fifo.ply &
  run 0 export scan.lxs --ply fifo
  wait
  [ -p fifo ] || fail "the FIFO was replaced"
  head -c 3 from_fifo.ply | grep -q ply || fail "nothing came through the FIFO"
  # Standard output, and a failed write to it.
  "$LXSCAN" export scan.lxs --xyz - >stdout.txt || fail "export to standard output failed"
  [ "$(wc -l <stdout.txt)" -eq 20000 ] || fail "standard output got $(wc -l <stdout.txt) lines"
  "$LXSCAN" info scan.lxs >/dev/full 2>err && fail "info > /dev/full exited 0"
  "$LXSCAN" export scan.lxs --xyz - >/dev/full 2>err && fail "export - > /dev/full exited 0"
  no_temporaries
  ;;

full_disk)
  is_root || skip "a full disk needs a small tmpfs, which only root can mount"
  mkdir small
  mount -t tmpfs -o size=2m tmpfs small 2>/dev/null || skip "cannot mount a tmpfs here"
  trap 'umount small' EXIT
  "$LXSCAN" -q demo --points 20000 -o small/scan.lxs || fail "a small scan does not fit"
  cp small/scan.lxs scan.copy
  "$LXSCAN" -q demo --points 20000 -o big.lxs
  run 1 demo --points 200000 -o small/scan.lxs
  expect_err "No space left on device"
  same small/scan.lxs scan.copy
  run 1 export big.lxs --xyz small/scan.lxs
  same small/scan.lxs scan.copy
  no_temporaries small
  ;;

interrupt)
  for signal in INT TERM HUP; do
    rm -f out.lxs
    # A background job of a script starts with SIGINT ignored: restore it.
    env --default-signal=INT,TERM,HUP "$LXSCAN" -q demo --points 4000000 -o out.lxs &
    pid=$!
    # Wait for the temporary to appear, then interrupt the write.
    seen=
    for _ in $(seq 1 20000); do  # up to 200 s: sanitizer builds are slow
      [ -n "$(find . -maxdepth 1 -name '.out.lxs.??????')" ] && seen=1 && break
      sleep 0.01
    done
    [ -n "$seen" ] || fail "SIG$signal: the temporary never appeared"
    kill -s $signal $pid
    wait $pid
    status=$?
    [ $status -gt 128 ] || fail "SIG$signal: exit status $status"
    [ -e out.lxs ] && fail "SIG$signal: out.lxs exists"
    no_temporaries
  done
  ;;

open3d)
  have_python_open3d || skip "Open3D for /usr/bin/python3 is not installed (Debian: python3-open3d)"
  /usr/bin/python3 - <<'EOF' || fail "Open3D cannot write"
import numpy as np, open3d as o3d
rng = np.random.default_rng(5)
p = o3d.geometry.PointCloud()
p.points = o3d.utility.Vector3dVector(rng.uniform(-20, 20, (5000, 3)))
n = rng.normal(size=(5000, 3)); n /= np.linalg.norm(n, axis=1)[:, None]
p.normals = o3d.utility.Vector3dVector(n)
p.colors = o3d.utility.Vector3dVector(rng.uniform(0, 1, (5000, 3)))
o3d.io.write_point_cloud("o3d.ply", p)
EOF
  run 0 convert o3d.ply -o o3d.lxs
  expect_out "5000 points (ply"
  run 0 export o3d.lxs --ply back.ply
  /usr/bin/python3 - <<'EOF' || fail "coordinates changed on the way"
import numpy as np, open3d as o3d
a = np.asarray(o3d.io.read_point_cloud("o3d.ply").points)
b = np.asarray(o3d.io.read_point_cloud("back.ply").points)
# The scan is in Z-order: compare the sets of points, bit for bit.
sa = a[np.lexsort(a.T[::-1])]; sb = b[np.lexsort(b.T[::-1])]
assert sa.shape == sb.shape and (sa == sb).all(), "coordinates differ"
EOF
  ;;

*)
  echo "unknown case $CASE"
  exit 1
  ;;
esac

[ $failures -eq 0 ] || exit 1
echo "passed"
