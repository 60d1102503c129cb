#!/usr/bin/env bash
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# manual.sh <program> <template> <output>: writes the manual page with synopsis and commands from
# the program's help, which alone describes the options.

set -euo pipefail
program="$1" template="$2"
exec >"$3"

# to_roff <part>: the part "synopsis" or "command" of the help of a command, in roff.
to_roff() {
    awk -v part="$1" '
        function roff(text) {
            gsub(/\\/, "\\e", text)
            gsub(/-/, "\\-", text)
            return text ~ /^[.\x27]/ ? "\\&" text : text
        }
        /^Usage: / {
            if (part == "synopsis") {
                sub(/^Usage: /, "")
                print ".B " roff($1 " " $2)
                sub(/^[^ ]+ [^ ]+ /, "")
                print roff($0)
                exit
            }
            next
        }
        part == "synopsis" { next }
        /^(Positionals|Options):$/ { inOptions = 1; paragraph = 0; next }
        /^  -h,--help/ { next }
        /^$/ { inOptions = 0; paragraph = 1; next }
        inOptions && match($0, /^  [^ ]+( [^ ]+)*/) {
            name = substr($0, 3, RLENGTH - 2)
            $0 = substr($0, RLENGTH + 1)
            sub(/ REQUIRED$/, "", name)
            sub(/:\{.*/, "", name)
            sub(/ TEXT$/, "", name)
            print ".TP\n.B " roff(name)
        }
        { sub(/^ +/, "") }
        $0 != "" {
            if (paragraph) { print ".PP" }
            paragraph = 0
            print roff($0)
        }'
}

commands="$("$program" --help | sed '1,/^Subcommands:/d' | awk '{ print $1 }')"
while IFS= read -r line; do
    case "$line" in
        @SYNOPSIS@)
            first=1
            for command in $commands; do
                ((first)) || echo .br
                first=0
                "$program" "$command" --help | to_roff synopsis
            done
            ;;
        @COMMANDS@)
            for command in $commands; do
                echo ".SS $command"
                "$program" "$command" --help | to_roff command
            done
            ;;
        *@VERSION@*) echo "${line/@VERSION@/Velmora Tessaryn $("$program" --version | awk '{ print $2 }')}" ;;
        *) printf '%s\n' "$line" ;;
    esac
done <"$template"
