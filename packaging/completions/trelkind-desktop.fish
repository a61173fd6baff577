# fish completion for trelkind-desktop
complete -c trelkind-desktop -f -a '(__fish_complete_directories)'
complete -c trelkind-desktop -s h -l help -d 'Show the help'
complete -c trelkind-desktop -s v -l version -d 'Show the version'
