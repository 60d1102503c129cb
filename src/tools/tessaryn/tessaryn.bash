# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Completion of tessaryn for bash.

# _tessaryn_files <ending>...: files with these endings, and folders to look further in.
_tessaryn_files() {
    local ending
    mapfile -t COMPREPLY < <(
        for ending in "$@"; do
            compgen -f -X "!*.$ending" -- "$word"
        done
        compgen -d -- "$word"
    )
    compopt -o filenames 2>/dev/null
}

# _tessaryn_words <program> [<command>]: the commands and options in the program's help.
_tessaryn_words() {
    "$@" --help 2>/dev/null | awk '/^Subcommands:/ { inCommands = 1 }
        inCommands && /^  [a-z]/ { print $1 }
        match($0, /^  (-h,)?--[a-z-]+/) { sub(/^ *(-h,)?/, ""); sub(/[^a-z-].*/, ""); print }'
}

_tessaryn() {
    local word="${COMP_WORDS[COMP_CWORD]}" before="${COMP_WORDS[COMP_CWORD - 1]}"
    local command="${COMP_WORDS[1]-}" choice=""
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        choice="$(_tessaryn_words "${COMP_WORDS[0]}")"
    elif [[ "$before" == --output ]]; then
        choice="text ndjson"
    elif [[ "$before" == --keep ]]; then
        choice="all matches events"
    elif [[ "$before" == --dates ]]; then
        choice="day-first month-first"
    elif [[ "$command $before" == "plot --to" ]]; then
        _tessaryn_files html svg
        return
    elif [[ "$command $before" =~ ^(watch\ --(save|load)|check\ --type)$ ]]; then
        _tessaryn_files xml json
        return
    elif [[ "$command $before" == "serve --config" ]]; then
        _tessaryn_files toml
        return
    elif [[ "$command $before" == "record --to" ]]; then
        _tessaryn_files db
        return
    elif [[ "$word" == -* ]]; then
        choice="$(_tessaryn_words "${COMP_WORDS[0]}" "$command")"
    elif [[ "$before" == --* && ! "$before" =~ ^--(skip-bad|quiet|follow|events|edges|allow-unknown)$ ]]; then
        return
    else
        case "$command" in
            watch | record | publish | stats | plot)
                _tessaryn_files csv tsv jsonl ndjson json xml db gz zst
                if [[ host == "$word"* ]]; then
                    COMPREPLY+=(host)
                fi
                ;;
            show) _tessaryn_files xml json db ;;
            replay) _tessaryn_files db ;;
            convert) _tessaryn_files xml json db csv ndjson ;;
        esac
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$choice" -- "$word")
}

complete -F _tessaryn tessaryn
