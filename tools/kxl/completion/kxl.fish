# Completion of kxl for fish.
set -l verbs register unregister enabled check available missing action suppress version \
    status list components holds prefs policy locks log doctor unlock
complete -c kxl -l json -d 'one JSON object a line'
complete -c kxl -l help -d 'print help'
complete -c kxl -n "not __fish_seen_subcommand_from $verbs" -l version -d 'print the version'
complete -c kxl -n "not __fish_seen_subcommand_from $verbs" -f -a "$verbs"
complete -c kxl -n '__fish_seen_subcommand_from unregister available missing action suppress' \
    -f -a "(kxl list 2>/dev/null | string split -f1 ' ')"
complete -c kxl -n '__fish_seen_subcommand_from unlock' -a "request: (kxl locks 2>/dev/null | string split -f1 ' ')"
complete -c kxl -n '__fish_seen_subcommand_from check' -l scheduled -d 'only when due'
complete -c kxl -n '__fish_seen_subcommand_from check missing' -l lang -x -d 'language, en_US'
complete -c kxl -n '__fish_seen_subcommand_from check available missing' -l refresh -d 'register first'
complete -c kxl -n '__fish_seen_subcommand_from available' -l wait -x -d seconds
complete -c kxl -n '__fish_seen_subcommand_from available' -l request -x -d number
complete -c kxl -n '__fish_seen_subcommand_from missing' -l component -x -d 'name category version'
complete -c kxl -n '__fish_seen_subcommand_from missing' -l type -x -d number
complete -c kxl -n '__fish_seen_subcommand_from suppress' -l for -x -d '90s, 30m, 2h'
complete -c kxl -n '__fish_seen_subcommand_from suppress' -l clear -d 'end the hold'
complete -c kxl -n '__fish_seen_subcommand_from suppress' -l query -d 'what is left'
complete -c kxl -n '__fish_seen_subcommand_from suppress' -l longest -d 'the longest hold'
complete -c kxl -n '__fish_seen_subcommand_from log' -l follow -d 'go on with what comes'
complete -c kxl -n '__fish_seen_subcommand_from doctor' -l dry-run -d 'tell what --fix would do'
complete -c kxl -n '__fish_seen_subcommand_from doctor' -l fix -d 'mend it'
complete -c kxl -n '__fish_seen_subcommand_from doctor' -l restore -d 'put back readable entries'
complete -c kxl -n '__fish_seen_subcommand_from unlock' -l force -d 'even while it is held'
