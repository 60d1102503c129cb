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

_tessaryn() {
    local word="${COMP_WORDS[COMP_CWORD]}" before="${COMP_WORDS[COMP_CWORD - 1]}"
    local command="${COMP_WORDS[1]-}" choice=""
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        choice="watch show convert check --help --version"
    elif [[ "$command $before" =~ ^(watch|show)\ --output$ ]]; then
        choice="text ndjson"
    elif [[ "$command $before" =~ ^(watch\ --(save|load)|check\ --type)$ ]]; then
        _tessaryn_files xml json
        return
    elif [[ "$command $before" =~ ^watch\ --(rule|stream|type|time|max-size|every|for)$ ]]; then
        return
    elif [[ "$word" == -* ]]; then
        case "$command" in
            watch)
                choice="--help --rule --stream --type --time --max-size --every --for --output"
                choice+=" --skip-bad --quiet --save --load"
                ;;
            show) choice="--help --output" ;;
            convert) choice="--help" ;;
            check) choice="--help --type" ;;
        esac
    else
        case "$command" in
            watch)
                _tessaryn_files csv
                if [[ host == "$word"* ]]; then
                    COMPREPLY+=(host)
                fi
                ;;
            show | convert) _tessaryn_files xml json ;;
        esac
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$choice" -- "$word")
}

complete -F _tessaryn tessaryn
