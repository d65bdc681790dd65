#!/usr/bin/env bash
# Runs the examples of README.md as a user would paste them into a shell on a
# fresh clone after `make`: every block fenced as ```sh, each in one shell with
# `set -e`, in a scratch folder that sees the repository's testdata/ and the
# build's build/ as a clone does. Blocks fenced otherwise (the build commands,
# anything that needs a display) are shown, not run.
#   run-examples.sh README BUILD_DIR
set -euo pipefail

readme=$(realpath "$1")
build=$(realpath "$2")
repo=$(dirname "$readme")
scratch=$(mktemp -d /tmp/ortavel-readme-XXXXXX)
trap 'rm -rf "$scratch"' EXIT

ln -s "$repo/testdata" "$scratch/testdata"
ln -s "$build" "$scratch/build"

# One file per ```sh block, named by the README line it starts on.
awk -v dir="$scratch" '
  /^```sh[[:space:]]*$/ { n++; file = sprintf("%s/block-%03d-line-%d.sh", dir, n, NR); next }
  /^```/ && file != "" { close(file); file = ""; next }
  file != "" { print > file }
' "$readme"

blocks=("$scratch"/block-*.sh)
if [ ! -e "${blocks[0]}" ]; then
  echo "README has no \`\`\`sh example blocks" >&2
  exit 1
fi

passed=0
failed=0
for block in "${blocks[@]}"; do
  where=$(basename "$block" .sh | sed 's/.*-line-/README.md line /')
  if (cd "$scratch" && PATH="$build/bin:$PATH" bash -e "$block") >"$block.log" 2>&1; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "FAILED: the example block at $where:" >&2
    sed 's/^/  | /' "$block" >&2
    echo "  its output:" >&2
    tail -n 20 "$block.log" | sed 's/^/  > /' >&2
  fi
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
