# shellcheck shell=bash
# bash completion for wirelark, wirelark-check and wirelark-queue

_wirelark() {
  local program=${COMP_WORDS[0]##*/} cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local words=''
  case $program in
    wirelark)
      ((COMP_CWORD > 1)) || words='run run-stdout print-psl version'
      ;;
    wirelark-queue)
      ((COMP_CWORD > 1)) || words='show verify salvage to-fstrm from-fstrm'
      ;;
    wirelark-check)
      if [[ $prev == --user ]]; then
        mapfile -t COMPREPLY < <(compgen -u -- "$cur")
        return
      fi
      [[ $cur != -* ]] || words='--json --start --user'
      ;;
  esac
  if [[ -n $words ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    compopt -o filenames 2>/dev/null
  fi
}
complete -F _wirelark wirelark wirelark-check wirelark-queue
