# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Completion of tessaryn for fish: commands and options from the program's help, else files.

function __tessaryn_words
    $argv --help 2>/dev/null | awk '/^Subcommands:/ { inCommands = 1 }
        inCommands && /^  [a-z]/ { print $1 }
        match($0, /^  (-h,)?--[a-z-]+/) { sub(/^ *(-h,)?/, ""); sub(/[^a-z-].*/, ""); print }'
end

function __tessaryn_options
    set -l words (commandline -opc)
    __tessaryn_words $words[1..2]
end

complete -c tessaryn -f -n __fish_use_subcommand -a '(__tessaryn_words tessaryn)'
complete -c tessaryn -n 'not __fish_use_subcommand; and string match -q -- "-*" (commandline -ct)' \
    -f -a '(__tessaryn_options)'
for pair in 'output text ndjson' 'keep all matches events' 'dates day-first month-first'
    set -l words (string split ' ' $pair)
    complete -c tessaryn -x -l $words[1] -a "$words[2..]"
end
