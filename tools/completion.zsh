#compdef structure-ingest
# Zsh completion of structure-ingest. What there is to complete is read from the program's help.

_structure_ingest() {
  local program=${words[1]/#\~\//$HOME/} word=${words[CURRENT]} before=${words[CURRENT-1]}
  local help subcommand="" only_paths="" value="" other
  local -a subcommands options
  help=$($program --help 2>/dev/null) || return 1
  subcommands=(${(f)"$(sed -n '/^Commands:/,/^$/s/^  \([a-z][^ ]*\).*/\1/p' <<<$help)"})
  for other in ${words[2,CURRENT-1]}; do
    [[ $other == -- ]] && only_paths=yes
    [[ -z $subcommand ]] && (( ${subcommands[(Ie)$other]} )) && subcommand=$other
  done
  [[ -z $subcommand ]] || help=$($program $subcommand --help 2>/dev/null) || return 1

  if [[ -z $only_paths && $word == --*=* ]]; then
    before=${word%%=*}
    compset -P '*='
  fi
  # What the option before takes, as the help calls it.
  [[ -z $only_paths && $before == -* ]] &&
    value=$(sed -nE "s/^  ([^ ]+,)?$before(,[^ ]+)? ([A-Z]+).*/\3/p" <<<$help)
  case $value in
    DIR) _files -/ ;;
    N | CODE | NAME | TEXT | AXIS | SIZE) return 1 ;;
    ?*) _files ;;
    *)
      if [[ -z $only_paths && $word == -* ]]; then
        options=(${(f)"$(sed -n 's/^  \(-[^ ]*\).*/\1/p' <<<$help | tr , '\n')"})
        compadd -- $options
      elif [[ -z $subcommand ]]; then
        compadd -- $subcommands
      elif grep -qE '^Usage: .* \[?DIR' <<<$help; then
        _files -/
      else
        _files
      fi
      ;;
  esac
}

# Found by its name in the folders of completions, or read by hand.
if [[ ${funcstack[1]:-} == _structure-ingest ]]; then
  _structure_ingest "$@"
elif (( $+functions[compdef] )); then
  compdef _structure_ingest structure-ingest
fi
