# fish completion for trelkind
# Options come from the program's own help, so that they are those of the installed version.

function __trelkind_column --description 'The values of a column of the JSON: KEY VERB...'
    command trelkind $argv[2..-1] --json 2>/dev/null </dev/null | string replace -rf "^ *\{?\"$argv[1]\": *\"([^\"\\\\]*)\".*" '$1'
end

function __trelkind_verbs
    command trelkind $argv --help 2>/dev/null | sed -n '/^Verbs:/,/^$/p' | string replace -rf '^  ([a-z]+) +(.*)' '$1\t$2'
end

function __trelkind
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    set -l verb $words[2]
    if test -z "$verb"
        if string match -q -- '-*' $current
            printf '%s\n' --help --version
        else
            __trelkind_verbs
        end
        return
    end
    set -l asked $verb
    set -l rest $words[3..-1]
    if test $verb = machines
        if test (count $rest) -eq 0; and not string match -q -- '-*' $current
            __trelkind_verbs machines
            return
        end
        if test (count $rest) -gt 0; and not string match -q -- '-*' $rest[1]
            set -a asked $rest[1]
            set -e rest[1]
        end
    end
    set -l help (command trelkind $asked --help 2>/dev/null)
    set -l with_value (string replace -rf '^  (-\S+) (TEXT|INT|FLOAT|UINT).*' '$1' -- $help | string split ,)
    set -l place
    set -l pending
    for word in $rest
        if set -q pending[1]
            set -e pending
        else if contains -- $word $with_value
            set pending $word
        else if not string match -q -- '-*' $word
            set -a place $word
        end
    end
    if set -q pending[1]
        switch $pending
            case --program --input --table --key
                __fish_complete_path $current
            case --project
                __fish_complete_directories $current
            case --on --server --through
                __trelkind_column Machine machines
            case --watch
                __trelkind_column Number status $place[1]
        end
        return
    end
    if string match -q -- '-*' $current
        string replace -rf '^  (-\S+).*' '$1' -- $help | string split ,
        return
    end
    switch $verb:(count $place)
        case machines:0
            __trelkind_column Machine machines
        case 'machines:*'
        case variables:0 value:0
            __fish_complete_path $current
        case '*:0'
            __fish_complete_directories $current
        case variables:1 value:1
            if string match -qr '\.vtask/?$' -- $place[1]
                __trelkind_column Number status $place[1]
            else if test $verb = value
                __trelkind_column Name variables $place[1]
            end
        case variables:2 value:2
            __trelkind_column 'File Name' files $place
        case value:3
            __trelkind_column Name variables $place
        case 'run:*' 'clear:*' files:1 output:1
            __trelkind_column Number status $place[1]
    end
end

complete -c trelkind -f -a '(__trelkind)'
