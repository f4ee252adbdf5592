# Bash completion for structure-ingest. Reads the subcommands and options from the program's help.

_structure_ingest() {
  local program=${1/#\~\//$HOME/} word=${COMP_WORDS[COMP_CWORD]} at=$((COMP_CWORD - 1))
  [[ $word == = ]] && word="" && ((++at))   # --option=
  [[ ${COMP_WORDS[at]} == = ]] && ((--at)) # --option=word
  local before=${COMP_WORDS[at]}
  COMPREPLY=()

  local help subcommands subcommand="" only_paths="" other
  help=$("$program" --help 2>/dev/null) || return
  subcommands=$(sed -n '/^Commands:/,/^$/s/^  \([a-z][^ ]*\).*/\1/p' <<<"$help")
  for other in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $other == -- ]] && only_paths=yes
    [[ -z $subcommand ]] && grep -qxF -e "$other" <<<"$subcommands" && subcommand=$other
  done
  [[ -z $subcommand ]] || help=$("$program" "$subcommand" --help 2>/dev/null) || return

  local place=default # readline's own completion of file names, or of folders: dirnames
  local value="" # what the option before takes, as the help calls it
  [[ -z $only_paths && $before == -* ]] &&
    value=$(sed -nE "s/^  ([^ ]+,)?$before(,[^ ]+)? ([A-Z]+).*/\3/p" <<<"$help")
  if [[ -n $value ]]; then
    case $value in
      DIR) place=dirnames ;;
      N|CODE|NAME|TEXT|AXIS|SIZE) return ;;
    esac
  elif [[ -z $only_paths && $word == -* ]]; then
    mapfile -t COMPREPLY < <(
      compgen -W "$(sed -n 's/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr , '\n')" -- "$word")
    return
  elif [[ -z $subcommand ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$subcommands" -- "$word")
    return
  elif grep -qE '^Usage: .* \[?DIR' <<<"$help"; then
    place=dirnames
  fi
  compopt -o "$place"
}
complete -F _structure_ingest structure-ingest
