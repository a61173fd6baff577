# fish completion for svdata
function __svdata_names
    command svdata list (commandline -opc)[3] --json 2>/dev/null | string replace -rf '.*"name": *"([^"\\\\]*)".*' '$1'
end
complete -c svdata -n __fish_use_subcommand -f -a 'list show copy index'
complete -c svdata -n '__fish_seen_subcommand_from show; and test (count (commandline -opc)) -eq 3' -f -a '(__svdata_names)'
complete -c svdata -s h -l help -d 'Show the help'
complete -c svdata -l version -d 'Show the version'
complete -c svdata -l json -d 'Write JSON'
