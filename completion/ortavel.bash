# bash completion for ortavel: commands, options, methods, orientations and
# the lens database's lens names (asked of `ortavel lenses --names`).
_ortavel() {
  local cur prev words cword
  _init_completion -n =: 2>/dev/null || {
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD - 1]}
    words=("${COMP_WORDS[@]}")
    cword=$COMP_CWORD
  }
  local commands="correct info preview lenses ui about help"
  local common="--plugin --quiet -q --help -h"
  local settings="--k1 --k2 --center --radius-limit --zoom --orientation --margins --method
    --lens --settings --auto --lens-model --camera --focal --fill --aperture --threads"
  local command=""
  local i
  for ((i = 1; i < cword; i++)); do
    case " $commands " in *" ${words[i]} "*) command=${words[i]}; break ;; esac
  done

  case $prev in
    --method)
      mapfile -t COMPREPLY < <(compgen -W "bilinear bicubic lanczos6 lanczos8 lanczos12 test-align" -- "$cur")
      return ;;
    --orientation)
      mapfile -t COMPREPLY < <(compgen -W "top left bottom right top-mirrored left-mirrored
        bottom-mirrored right-mirrored 0 1 2 3 4 5 6 7" -- "$cur")
      return ;;
    --sampling)
      mapfile -t COMPREPLY < <(compgen -W "444 422 420" -- "$cur")
      return ;;
    --tiff-compression)
      mapfile -t COMPREPLY < <(compgen -W "none deflate lzw zstd" -- "$cur")
      return ;;
    --lens)
      mapfile -t COMPREPLY < <(compgen -W "demo" -- "$cur")
      return ;;
    --lens-model)
      # Names that start with what was typed, else names that contain it.
      local word=${cur//\\/}
      word=${word#[\"\']}
      local names
      names=$(ortavel lenses --names 2>/dev/null)
      local matches
      matches=$(grep -i -- "^$(printf '%s' "$word" | sed 's/[][\.*^$]/\\&/g')" <<<"$names")
      [ -z "$matches" ] && matches=$(grep -iF -- "$word" <<<"$names")
      local n
      COMPREPLY=()
      while IFS= read -r n; do
        [ -n "$n" ] && COMPREPLY+=("$(printf '%q' "$n")")
      done <<<"$matches"
      return ;;
    --plugin | --settings | --save-settings)
      mapfile -t COMPREPLY < <(compgen -f -- "$cur")
      return ;;
    -o | --output-dir)
      mapfile -t COMPREPLY < <(compgen -d -- "$cur")
      return ;;
    --k1 | --k2 | --center | --radius-limit | --zoom | --scale | --margins | --camera | \
      --focal | --quality | --jobs | -j | --size | --port | --aperture | --threads | --max-pixels)
      return ;;
  esac

  if [ -z "$command" ]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands --version --help" -- "$cur")
    return
  fi
  if [[ $cur == -* ]]; then
    local options=$common
    case $command in
      correct) options+=" $settings --save-settings --output-dir -o --force -f --quality
        --sampling --tiff-compression --jobs -j --skip-existing --max-pixels --vignetting" ;;
      preview) options+=" $settings --output-dir -o --size --side-by-side --force -f --max-pixels
        --vignetting" ;;
      info) options+=" --lens-model --camera --focal --max-pixels" ;;
      ui) options+=" $settings --port --no-browser" ;;
      lenses) options+=" --names" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
    return
  fi
  case $command in
    help) mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur") ;;
    lenses | about) ;;
    *) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
  esac
}
complete -o filenames -F _ortavel ortavel
