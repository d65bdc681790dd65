#!/bin/sh
# ortavel-host bounds what its options may make it allocate and reads --raw
# only from a regular file of the right size: each refusal comes at once (a
# timeout would show a hang), and a right-sized file still goes through.
# Usage: host_bounds_test.sh ORTAVEL_HOST PROBE_MODULE
set -u
host=$1
probe=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# refuse TEXT ARGS...: exit 2 within 10 s, TEXT on standard error.
refuse() {
  want=$1
  shift
  timeout 10 "$host" "$probe" "$@" >"$dir/out" 2>"$dir/err"
  rc=$?
  if [ "$rc" -ne 2 ] || ! grep -q "$want" "$dir/err"; then
    echo "FAIL: $* -> exit $rc, expected 2 and \"$want\":"
    cat "$dir/err"
    failures=$((failures + 1))
  fi
}

refuse "planes takes 1 to 64" --planes 4000
refuse "planes takes 1 to 64" --planes 0
refuse "limit of 1000000000 pixels" --size 100000x100000
refuse "memory" --size 30000x30000 --planes 64 --depth 32
mkfifo "$dir/fifo"
refuse "not a regular file" --raw "$dir/fifo"
refuse "not a regular file" --raw /dev/zero
refuse "not a regular file" --raw "$dir"
head -c 100 /dev/zero >"$dir/short.raw"
refuse "holds 100 bytes" --raw "$dir/short.raw" --size 20x10

# 20x10 RGB, 8 bits: the probe inverts every sample.
# Samples 0x41, 0x01, 0xff repeated; inverted they are 0xbe, 0xfe, 0x00.
i=0
while [ $i -lt 200 ]; do
  printf 'A\001\377' >>"$dir/in.raw"
  printf '\276\376\000' >>"$dir/want.raw"
  i=$((i + 1))
done
if ! timeout 60 "$host" "$probe" --size 20x10 --raw "$dir/in.raw" --out "$dir/got.raw" \
  >"$dir/out" 2>"$dir/err" || ! cmp -s "$dir/want.raw" "$dir/got.raw"; then
  echo "FAIL: a right-sized raw document did not come back inverted"
  cat "$dir/err"
  failures=$((failures + 1))
fi

echo "$((9 - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
