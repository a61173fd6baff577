# complete.bash FILE FUNCTION LINE: what bash offers at the end of LINE, one a line. The words are split as readline does
# it: "@", ":" and "=" are words of their own.
source "$1"
COMP_LINE=$3 COMP_POINT=${#3} COMP_WORDS=() COMP_CWORD=0
rest=$3
while [[ $rest =~ ^[[:blank:]]*([^[:blank:]@:=]+|[@:=]) ]]; do
    COMP_WORDS+=("${BASH_REMATCH[1]}")
    rest=${rest#"${BASH_REMATCH[0]}"}
done
[[ $3 == *[[:blank:]@:=] ]] && COMP_WORDS+=("")
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
"$2"
printf '%s\n' "${COMPREPLY[@]}"
