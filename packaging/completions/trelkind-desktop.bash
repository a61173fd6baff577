# bash completion for trelkind-desktop
_trelkind_desktop()
{
    local cur=${COMP_WORDS[COMP_CWORD]}
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '-h --help -v --version --service' -- "$cur")
    else
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    fi
}
complete -F _trelkind_desktop trelkind-desktop
