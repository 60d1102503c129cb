#compdef tessaryn
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Completion of tessaryn for zsh: commands and options from the program's help, else files.

local command="${words[2]}" help
local -a choices
if ((CURRENT == 2)); then
    help="$("${words[1]}" --help 2>/dev/null)"
elif [[ "${words[CURRENT]}" == -* ]]; then
    help="$("${words[1]}" "$command" --help 2>/dev/null)"
else
    case "${words[CURRENT - 1]}" in
        --output) choices=(text ndjson) ;;
        --keep) choices=(all matches events) ;;
        --dates) choices=(day-first month-first) ;;
        *)
            _files
            return
            ;;
    esac
    compadd -a choices
    return
fi
choices=(${(f)"$(awk '/^Subcommands:/ { inCommands = 1 }
    inCommands && /^  [a-z]/ { print $1 }
    match($0, /^  (-h,)?--[a-z-]+/) { sub(/^ *(-h,)?/, ""); sub(/[^a-z-].*/, ""); print }' <<<"$help")"})
compadd -a choices
