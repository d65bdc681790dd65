#!/usr/bin/env bash
# Builds the EXIF reader and its byte-order-sensitive tests for a big-endian
# machine (s390x) and runs them under qemu-user, so the run-time byte-order
# detection and the swapping are checked on the other side too.
#
#   tests/exif/run-big-endian.sh <build dir>
#
# Needs the Debian packages g++-s390x-linux-gnu and qemu-user, and googletest's
# sources in /usr/src/googletest (libgtest-dev). Without them it says so and
# exits 0: this run is an extra, not part of the regular suite. Uses at most
# two compile jobs.
set -euo pipefail

if [[ $# -ne 1 ]]; then
  echo "usage: $0 <build dir>" >&2
  exit 2
fi
repo=$(cd "$(dirname "$0")/../.." && pwd)
out=$(mkdir -p "$1" && cd "$1" && pwd)
gtest=/usr/src/googletest
cc=s390x-linux-gnu-gcc
cxx=s390x-linux-gnu-g++
qemu=qemu-s390x

for tool in "$cc" "$cxx" "$qemu"; do
  if ! command -v "$tool" >/dev/null; then
    echo "run-big-endian: skipped, $tool not found (apt-get install g++-s390x-linux-gnu qemu-user)"
    exit 0
  fi
done
if [[ ! -d $gtest/googletest/src ]]; then
  echo "run-big-endian: skipped, no googletest sources in $gtest (apt-get install libgtest-dev)"
  exit 0
fi

common=(-O1 -g -ffp-contract=off -fno-fast-math -pthread -I"$repo/src" -I"$repo/tests/exif"
  -I"$gtest/googletest/include" -I"$gtest/googlemock/include")
warn=(-Wall -Wextra -Wshadow -Werror)

# googletest itself, once per build dir.
mkdir -p "$out/gtest"
for unit in googletest/src/gtest-all.cc googlemock/src/gmock-all.cc googletest/src/gtest_main.cc; do
  obj="$out/gtest/$(basename "$unit" .cc).o"
  [[ -f $obj ]] || "$cxx" -std=c++20 "${common[@]}" -I"$gtest/googletest" -I"$gtest/googlemock" \
    -c "$gtest/$unit" -o "$obj" &
done
wait

objs=()
compile() {  # compile <source> <compiler and standard...>
  local src=$1
  shift
  local obj="$out/$(basename "$src").o"
  "$@" "${common[@]}" "${warn[@]}" -DORTAVEL_TESTDATA_DIR="\"$repo/testdata\"" -c "$src" -o "$obj"
  objs+=("$obj")
}
for src in "$repo"/src/exif/*.c; do compile "$src" "$cc" -std=c11; done
engine_objs=("${objs[@]}")

tests=(tiff_parse_test tiff_values_test tiff_realdata_test c_api_test)
extra_tiff_parse_test=(tiff_writer.cpp)
extra_tiff_values_test=(tiff_writer.cpp)
extra_tiff_realdata_test=(flat_json.cpp)
extra_c_api_test=(c_api_check.c)

failed=0
for t in "${tests[@]}"; do
  objs=()
  compile "$repo/tests/exif/$t.cpp" "$cxx" -std=c++20
  declare -n extra="extra_$t"
  for e in "${extra[@]}"; do
    if [[ $e == *.c ]]; then
      compile "$repo/tests/exif/$e" "$cc" -std=c11 -Wpedantic
    else
      compile "$repo/tests/exif/$e" "$cxx" -std=c++20
    fi
  done
  # Static, so qemu needs no s390x libraries; the linker's note about
  # googletest's unused network code goes to the log.
  if ! "$cxx" -static -pthread "${objs[@]}" "${engine_objs[@]}" "$out/gtest/gmock-all.o" \
    "$out/gtest/gtest-all.o" "$out/gtest/gtest_main.o" -o "$out/$t" 2>"$out/$t.link.log"; then
    cat "$out/$t.link.log"
    exit 1
  fi
  if "$qemu" "$out/$t" >"$out/$t.log" 2>&1; then
    echo "run-big-endian: $t passed ($(grep -o '[0-9]* tests\?' "$out/$t.log" | tail -n1))"
  else
    tail -n 30 "$out/$t.log"
    echo "run-big-endian: $t FAILED (log in $out/$t.log)"
    failed=1
  fi
done
exit $failed
