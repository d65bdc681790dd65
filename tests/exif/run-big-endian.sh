#!/usr/bin/env bash
# Builds the EXIF reader and its tests for a big-endian machine (s390x) and
# runs them under qemu-user, so the run-time byte-order detection and the
# swapping are checked on the other side too.
#
#   tests/exif/run-big-endian.sh <build dir>
#
# Needs g++-s390x-linux-gnu, qemu-user and googletest's sources in
# /usr/src/googletest (libgtest-dev); without them it says so and exits 0, as
# this run is an extra beside the regular suite. At most two compile jobs.
set -euo pipefail
[[ $# -eq 1 ]] || { echo "usage: $0 <build dir>" >&2; exit 2; }
repo=$(cd "$(dirname "$0")/../.." && pwd)
out=$(mkdir -p "$1" && cd "$1" && pwd)
gtest=/usr/src/googletest
for tool in s390x-linux-gnu-gcc s390x-linux-gnu-g++ qemu-s390x; do
  command -v "$tool" >/dev/null || { echo "run-big-endian: skipped, no $tool"; exit 0; }
done
[[ -d $gtest/googletest/src ]] || { echo "run-big-endian: skipped, no $gtest"; exit 0; }

flags=(-O1 -g -ffp-contract=off -fno-fast-math -pthread -I"$repo/src" -I"$repo/tests/exif"
  -I"$gtest/googletest/include" -I"$gtest/googlemock/include" -I"$gtest/googletest"
  -I"$gtest/googlemock" -DORTAVEL_TESTDATA_DIR="\"$repo/testdata\"")
cc() { s390x-linux-gnu-gcc -std=c11 -Wall -Wextra -Werror "${flags[@]}" -c "$1" -o "$2"; }
cxx() { s390x-linux-gnu-g++ -std=c++20 "${flags[@]}" -c "$1" -o "$2"; }

mkdir -p "$out/gtest"  # googletest itself, once per build dir
for unit in googletest/src/gtest-all.cc googlemock/src/gmock-all.cc googletest/src/gtest_main.cc; do
  obj="$out/gtest/$(basename "$unit" .cc).o"
  [[ -f $obj ]] || cxx "$gtest/$unit" "$obj" &
done
wait
engine=()
for src in "$repo"/src/exif/*.c; do
  engine+=("$out/$(basename "$src").o")
  cc "$src" "${engine[-1]}"
done
cc "$repo/tests/exif/c_api_check.c" "$out/c_api_check.o"

failed=0
for t in tiff_reader_test tiff_realdata_test; do
  cxx "$repo/tests/exif/$t.cpp" "$out/$t.o"
  # Static, so qemu needs no s390x libraries.
  s390x-linux-gnu-g++ -static -pthread "$out/$t.o" "$out/c_api_check.o" "${engine[@]}" \
    "$out"/gtest/*.o -o "$out/$t" 2>"$out/$t.link.log" || { cat "$out/$t.link.log"; exit 1; }
  if qemu-s390x "$out/$t" >"$out/$t.log" 2>&1; then
    echo "run-big-endian: $t passed"
  else
    tail -n 30 "$out/$t.log"
    echo "run-big-endian: $t FAILED (log in $out/$t.log)"
    failed=1
  fi
done
exit $failed
