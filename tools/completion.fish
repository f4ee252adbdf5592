# Fish completion of structure-ingest. What there is to complete is read from the program's help.

function __structure_ingest_complete
    set -l words (commandline -opc)
    set -l word (commandline -ct)
    set -l program (string replace -r '^~/' "$HOME/" -- $words[1])
    set -l help ($program --help 2>/dev/null); or return
    set -l subcommands (printf '%s\n' $help | sed -n '/^Commands:/,/^$/s/^  \([a-z][^ ]*\).*/\1/p')
    set -l subcommand ''
    set -l only_paths ''
    for other in $words[2..-1]
        test "$other" = --; and set only_paths yes
        test -z "$subcommand"; and contains -- "$other" $subcommands; and set subcommand $other
    end
    if test -n "$subcommand"
        set help ($program $subcommand --help 2>/dev/null); or return
    end

    # What the option before takes, as the help calls it.
    set -l before $words[-1]
    set -l value ''
    if test -z "$only_paths"; and string match -q -- '--*=*' "$word"
        set before (string replace -r '=.*' '' -- $word)
    end
    if test -z "$only_paths"; and string match -q -- '-*' "$before"
        set value (printf '%s\n' $help | sed -nE "s/^  ([^ ]+,)?$before(,[^ ]+)? ([A-Z]+).*/\3/p")
    end
    switch "$value"
        case DIR
            __fish_complete_directories "$word" ''
        case N CODE NAME TEXT AXIS SIZE
            return
        case '?*'
            __fish_complete_path "$word"
        case '*'
            if test -z "$only_paths"; and string match -q -- '-*' "$word"
                printf '%s\n' $help | sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr , '\n'
            else if test -z "$subcommand"
                printf '%s\n' $subcommands
            else if printf '%s\n' $help | grep -qE '^Usage: .* \[?DIR'
                __fish_complete_directories "$word" ''
            else
                __fish_complete_path "$word"
            end
    end
end

complete -c structure-ingest -f -a '(__structure_ingest_complete)'
