# fish completion for trelkind-desktop
complete -c trelkind-desktop -f -a '(__fish_complete_directories)'
complete -c trelkind-desktop -s h -l help -d 'Show the help'
complete -c trelkind-desktop -s v -l version -d 'Show the version'
complete -c trelkind-desktop -l service -d 'Wait for the desktop to say what to open'
