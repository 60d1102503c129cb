#!/usr/bin/env bash
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# command_line.sh <program> <manual page> <completion>: the manual page has every option of the
# program's help, and bash completes commands, options and files.

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

# complete_words <word>...: what completion offers for the last one.
complete_words() {
    COMP_WORDS=("$program" "$@")
    COMP_CWORD=$#
    _tessaryn || true
    echo "${COMPREPLY[*]}"
}

commands="watch record publish replay stats plot show convert check serve"
manual="$(sed 's/\\//g' "$page")"
same "first word" "$commands --config --help --version" "$(complete_words "")"
same "options of show" "--columns --head --help --max-memory --out-zone --output --rule --since
    --stream --tail --until" "$(complete_words show --)"
same "options that begin with s" "--save --since --skip-bad --start --stream --stream-by" "$(complete_words watch --s)"
for command in $commands; do
    for option in $(complete_words "$command" --); do
        if [[ "$manual" != *"$option"* ]]; then
            echo "the manual page lacks $option of $command"
            status=1
        fi
    done
done

folder="$(mktemp -d)"
trap 'rm -r "$folder"' EXIT
cd "$folder"
mkdir more
touch a.csv a.json a.txt a.xml b.db p.toml
same "forms" "text ndjson" "$(complete_words watch - --output "")"
same "forms that begin with n" "ndjson" "$(complete_words show a.xml --output n)"
same "sources" "a.csv a.json a.xml b.db host more" "$(complete_words watch "")"
same "documents" "a.json a.xml" "$(complete_words show a)"
same "histories" "b.db more" "$(complete_words record host --to "")"
same "histories to replay" "b.db" "$(complete_words replay b)"
same "what is converted" "a.csv a.json a.xml" "$(complete_words convert a)"
same "documents to load" "a.json a.xml more" "$(complete_words watch host --load "")"
same "configurations" "more p.toml" "$(complete_words serve --config "")"
same "rules" "" "$(complete_words watch host --rule "")"
exit "$status"
