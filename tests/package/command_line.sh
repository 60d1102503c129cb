#!/usr/bin/env bash
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# command_line.sh <program> <manual page> <completion>: the manual page and bash's completion know
# the commands and options that the program's help tells, and no others.

set -euo pipefail
program="$1" page="$2"
# shellcheck source=/dev/null
source "$3"
status=0

# same <what> <expected> <found>: lists of words in any order.
same() {
    if ! diff <(xargs -n 1 <<<"$2" | sort) <(xargs -n 1 <<<"$3" | sort); then
        echo "$1 (< expected, > found)"
        status=1
    fi
}

# words <pattern>: what the pattern finds in each line, as one line.
words() {
    grep -oP "$1" | paste -sd ' '
}

# complete_words <word>...: what completion offers for the last one.
complete_words() {
    COMP_WORDS=(tessaryn "$@")
    COMP_CWORD=$#
    _tessaryn || true
    echo "${COMPREPLY[*]}"
}

# section <command>: the command's part of the manual page, without roff's backslashes.
section() {
    sed -n "/^\.SS $1\$/,/^\.S[SH] /p" "$page" | sed '1d; s/\\//g'
}

same "version of the manual page" "$("$program" --version | words '^tessaryn \K[0-9.]+')" \
    "$(words '^\.TH .*"Velmora Tessaryn \K[0-9.]+' <"$page")"
commands="$("$program" --help | sed '1,/^Subcommands:/d' | words '^  \K[a-z]+')"
[[ "$commands" == *watch* ]]
same "commands of the manual page" "$commands" "$(words '^\.SS \K.*' <"$page")"
same "completion of the first word" "$commands --help --version" "$(complete_words "")"
for command in $commands; do
    options="$("$program" "$command" --help | words '^  (-h,)?\K--[a-z-]+')"
    same "options of $command in the manual page" "$options" \
        "--help $(section "$command" | words '^\.BI? \K--[a-z-]+' || true)"
    same "completion of $command --" "$options" "$(complete_words "$command" --)"
done

folder="$(mktemp -d)"
trap 'rm -r "$folder"' EXIT
cd "$folder"
mkdir more
touch a.csv a.json a.txt a.xml
same "forms" "text ndjson" "$(complete_words watch - --output "")"
same "forms that begin with n" "ndjson" "$(complete_words show a.xml --output n)"
same "sources" "a.csv host more" "$(complete_words watch "")"
same "documents" "a.json a.xml" "$(complete_words convert a)"
same "documents to load" "a.json a.xml more" "$(complete_words watch host --load "")"
same "rules" "" "$(complete_words watch host --rule "")"
exit "$status"
