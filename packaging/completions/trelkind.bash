# bash completion for trelkind
# Options come from the program's own help, so that they are those of the installed version.

# Makes "words" of the command line up to the cursor: bash has split it at "@", ":" and "=", too.
_trelkind_words()
{
    local rest=${COMP_LINE:0:COMP_POINT} word i
    words=()
    for ((i = 0; i <= COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $i -gt 0 && $rest != [[:blank:]]* ]]; then
            words[-1]+=$word
        else
            words+=("$word")
            rest=${rest#"${rest%%[![:blank:]]*}"}
        fi
        rest=${rest#"$word"}
    done
}

_trelkind_plain() # A word as the program gets it.
{
    local word=${1//\\/}
    word=${word//[\"\']/}
    printf '%s' "${word/#\~\//$HOME/}"
}

_trelkind_column() # _trelkind_column KEY VERB...: the values of a column of the program's JSON, one a line
{
    local key=$1
    shift
    command trelkind "$@" --json 2>/dev/null </dev/null | sed -n "s/^ *{*\"$key\": *\"\\([^\"\\\\]*\\)\".*/\\1/p"
}

_trelkind_offer() # Offers the lines of standard input that begin with the current word.
{
    local kept=${cur%"${cur##*[@:=]}"} line
    while IFS= read -r line; do
        [[ $line == "$cur"* ]] && COMPREPLY+=("$(printf '%q' "${line#"$kept"}")")
    done
}

_trelkind_files() { compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- "$cur"); }
_trelkind_folders() { compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- "$cur"); }

_trelkind_place() # variables and value: FILE [NAME], or WRAPPER NUMBER FILE [NAME]
{
    case ${#place[@]} in
        0) _trelkind_files ;;
        1) if [[ ${place[0]} == *.vtask?(/) ]]; then
               _trelkind_offer < <(_trelkind_column Number status "${place[0]}")
           elif [[ $verb == value ]]; then
               _trelkind_offer < <(_trelkind_column Name variables "${place[0]}")
           fi ;;
        2) _trelkind_offer < <(_trelkind_column 'File Name' files "${place[@]}") ;;
        3) [[ $verb == value ]] && _trelkind_offer < <(_trelkind_column Name variables "${place[@]}") ;;
    esac
}

_trelkind()
{
    local words cur verb previous help with_value i option
    local -a place=() asked=()
    COMPREPLY=()
    shopt -q extglob || { shopt -s extglob; trap 'shopt -u extglob; trap - RETURN' RETURN; }
    _trelkind_words
    cur=${words[-1]} previous=${words[-2]} verb=${words[1]}
    if [[ ${#words[@]} -eq 2 ]]; then
        if [[ $cur == -* ]]; then
            _trelkind_offer <<<$'--help\n--version'
        else
            _trelkind_offer < <(command trelkind --help 2>/dev/null | sed -n '/^Verbs:/,/^$/s/^  \([a-z]*\) .*/\1/p')
        fi
        return
    fi
    asked=("$verb") i=2
    if [[ $verb == machines ]]; then
        if [[ ${#words[@]} -eq 3 && $cur != -* ]]; then
            _trelkind_offer < <(command trelkind machines --help 2>/dev/null |
                sed -n '/^Verbs:/,/^$/s/^  \([a-z]*\) .*/\1/p')
            return
        fi
        [[ $cur == "${words[2]}" || ${words[2]} == -* ]] || asked+=("${words[2]}") i=3
    fi
    help=$(command trelkind "${asked[@]}" --help 2>/dev/null)
    with_value=" $(sed -n 's/^  \(-[^ ]*\) \(TEXT\|INT\|FLOAT\|UINT\).*/\1/p' <<<"$help" | tr ',\n' '  ')"
    for (( ; i < ${#words[@]} - 1; i++)); do
        option=${words[i]}
        if [[ $with_value == *" $option "* ]]; then ((++i))
        elif [[ $option != -* ]]; then place+=("$(_trelkind_plain "$option")"); fi
    done

    if [[ $with_value == *" $previous "* ]]; then
        case $previous in
            --program | --input | --table | --key) _trelkind_files ;;
            --project) _trelkind_folders ;;
            --on | --server | --through) _trelkind_offer < <(_trelkind_column Machine machines) ;;
            --watch) _trelkind_offer < <(_trelkind_column Number status "${place[0]}") ;;
        esac
        return
    fi
    if [[ $cur == -* ]]; then
        _trelkind_offer < <(sed -n 's/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr ',' '\n')
        return
    fi
    case $verb in
        machines) [[ ${#place[@]} -eq 0 ]] && _trelkind_offer < <(_trelkind_column Machine machines) ;;
        variables | value) _trelkind_place ;;
        *)
            if [[ ${#place[@]} -eq 0 ]]; then
                _trelkind_folders
            elif [[ $verb == @(run|clear) || ($verb == @(files|output) && ${#place[@]} -eq 1) ]]; then
                _trelkind_offer < <(_trelkind_column Number status "${place[0]}")
            fi
            ;;
    esac
}
complete -F _trelkind trelkind
