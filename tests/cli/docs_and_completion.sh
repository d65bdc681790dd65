#!/usr/bin/env bash
# The man page and the shell completion know every option the command takes,
# every method, and the lens names; bash completion works as a user's shell
# runs it. Usage: docs_and_completion.sh SOURCE_DIR ORTAVEL
set -euo pipefail
src=$1
ortavel=$2
export PATH="$(dirname "$ortavel"):$PATH"
fail=0
say() { echo "docs_and_completion: $*" >&2; fail=1; }

# Every long option of every command's help text.
options=$({
  for c in correct info preview lenses ui; do "$ortavel" help "$c"; done
  "$ortavel" --help
} | grep -o -- '--[a-z][a-z0-9-]*' | sort -u)
[ -n "$options" ] || say "no options found in the help texts"
man=$(sed 's/\\-/-/g' "$src/doc/ortavel.1")
for o in $options; do
  grep -q -- "$o\b" <<<"$man" || say "man page lacks $o"
  case $o in --version | --help | --quiet | --plugin) continue ;; esac
  grep -q -- "$o\b" "$src/completion/ortavel.bash" || say "bash completion lacks $o"
  grep -q -- "$o\b" "$src/completion/_ortavel" || say "zsh completion lacks $o"
done
for m in bilinear bicubic lanczos6 lanczos8 lanczos12; do
  grep -q "$m" "$src/completion/ortavel.bash" || say "bash completion lacks method $m"
  grep -q "$m" "$src/completion/_ortavel" || say "zsh completion lacks method $m"
done
command -v groff >/dev/null && { groff -man -Tutf8 -ww -z "$src/doc/ortavel.1" 2>&1 | grep . && say "groff warns"; } || true

# Bash completion, as the shell calls it.
complete_line() {  # words... ; the last is the one being completed
  COMP_WORDS=("$@")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _ortavel
  printf '%s\n' "${COMPREPLY[@]}"
}
# shellcheck source=/dev/null
source "$src/completion/ortavel.bash"
[ "$(complete_line ortavel pre)" = preview ] || say "command not completed"
[ "$(complete_line ortavel correct a.jpg --samp)" = --sampling ] || say "option not completed"
got=$(complete_line ortavel correct a.jpg --method lanczos | tr '\n' ' ')
[ "$got" = "lanczos6 lanczos8 lanczos12 " ] || say "methods: $got"
# A lens name with spaces comes back as one shell word.
got=$(complete_line ortavel correct a.jpg --lens-model "Olympus M.Zuiko Digital 14-42mm f/3.5-5.6 I")
[ "$got" = 'Olympus\ M.Zuiko\ Digital\ 14-42mm\ f/3.5-5.6\ II' ] || say "lens name: $got"
got=$(complete_line ortavel correct a.jpg --lens-model nikkor | wc -l)
[ "$got" -gt 10 ] || say "only $got lenses contain nikkor"
# `lenses --names` lists each name once.
names=$("$ortavel" lenses --names 14-42)
[ "$(sort -u <<<"$names")" = "$names" ] || say "lenses --names repeats or is unsorted"
grep -qx "Olympus M.Zuiko Digital 14-42mm f/3.5-5.6 II" <<<"$names" || say "lenses --names lacks the 14-42 II"

[ $fail -eq 0 ] && echo "docs and completion: all options, methods and lens names found"
exit $fail
