# Completion of kxl for bash.
_kxl() {
  local word=${COMP_WORDS[COMP_CWORD]} verb='' i
  local verbs='register unregister enabled check available missing action suppress version
    status list components holds prefs policy locks log doctor unlock'
  for ((i = 1; i < COMP_CWORD; i++)); do
    [[ ${COMP_WORDS[i]} == -* ]] || { verb=${COMP_WORDS[i]} && break; }
  done
  local options='--json --help'
  case $verb in
    '') options+=" $verbs" ;;
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
    unlock) [[ $word == -* ]] || options+=" $(kxl locks 2>/dev/null | cut -d' ' -f1)" ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
}
complete -o default -F _kxl kxl
