# bash completion for svdata
_svdata()
{
    local cur=${COMP_WORDS[COMP_CWORD]} verb=${COMP_WORDS[1]} file line
    COMPREPLY=()
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '-h --help --version --json' -- "$cur")
    elif [[ $COMP_CWORD -eq 1 ]]; then
        mapfile -t COMPREPLY < <(compgen -W 'list show copy index' -- "$cur")
    elif [[ $verb == show && $COMP_CWORD -eq 3 ]]; then
        file=${COMP_WORDS[2]//\\/}
        while IFS= read -r line; do
            [[ $line == "$cur"* ]] && COMPREPLY+=("$(printf '%q' "$line")")
        done < <(command svdata list "${file/#\~\//$HOME/}" --json 2>/dev/null |
            sed -n 's/.*"name": *"\([^"\\]*\)".*/\1/p')
    else
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    fi
}
complete -F _svdata svdata
