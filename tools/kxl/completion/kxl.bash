# Completion of kxl for bash.
_kxl() {
  # Words are told by blanks here: bash itself would part request:ID at its colon.
  local before=${COMP_LINE:0:COMP_POINT} verb='' word i
  local -a words
  read -ra words <<<"$before"
  word=${before##*[[:blank:]]}
  local verbs='register unregister enabled check available missing action suppress version
    status list components holds prefs policy locks log doctor unlock'
  for ((i = 1; i < ${#words[@]} - (${#word} > 0); i++)); do
    [[ ${words[i]} == -* ]] || { verb=${words[i]} && break; }
  done
  local options='--json --help'
  case $verb in
    '') options+=" --version $verbs" ;;
    check) options+=' --scheduled --refresh --lang' ;;
    available) options+=' --wait --request --refresh' ;;
    missing) options+=' --component --type --lang --refresh' ;;
    suppress) options+=' --for --clear --query --longest' ;;
    log) options+=' --follow' ;;
    doctor) options+=' --dry-run --fix --restore' ;;
    unlock) options+=' --force' ;;
  esac
  case $verb in
    unregister | available | missing | action | suppress)
      [[ $word == -* ]] || options+=" $(kxl list 2>/dev/null | cut -d' ' -f1)"
      ;;
    unlock) [[ $word == -* ]] || options+=" request: $(kxl locks 2>/dev/null | cut -d' ' -f1)" ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
  # What stands before the last colon is on the line already.
  [[ $COMP_WORDBREAKS != *:* || $word != *:* ]] || COMPREPLY=("${COMPREPLY[@]#"${word%:*}":}")
}
complete -o default -F _kxl kxl
