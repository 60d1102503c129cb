# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash

# Layers from the lowest up: a file includes nothing of a layer above its own.
include_layers="src/libs/common src/libs/serializer src/libs/tessaryn src/libs/delivery src/libs/storage src/libs/exchange src/libs/nats src/libs/inspector src/python src/tools"

# include_edges <root>: a line "including included" for each include between two of the project's
# files below <root>/src, which are found in the including file's own folder, in src/libs or in the
# program's folder.
include_edges() {
    (
        cd "$1" || exit
        find src -name '*.h' -o -name '*.cpp' | sort | xargs awk '
            BEGIN {
                for (i = 1; i < ARGC; ++i)
                    known[ARGV[i]]
            }
            match($0, /^#include "[^"]+"/) {
                name = substr($0, 11, RLENGTH - 11)
                folder = FILENAME
                sub(/[^\/]*$/, "", folder)
                split(folder " src/libs/ src/tools/tessaryn/", places, " ")
                for (i = 1; i <= 3; ++i) {
                    if (places[i] name in known) {
                        print FILENAME, places[i] name
                        break
                    }
                }
            }'
    )
}

# unit_edges: reads include_edges, and prints a line "unit included-unit" for each two units, where a
# unit is a source with its header. A header without a source counts as part of what includes it.
unit_edges() {
    # shellcheck disable=SC2016
    awk '
        function unit(file) {
            sub(/\.(h|cpp)$/, "", file)
            return file
        }
        function expand(from, file, names, count, i) {
            if (unit(file) in has_source) {
                if (unit(file) != from)
                    print from, unit(file)
                return
            }
            if ((from, file) in seen)
                return
            seen[from, file]
            count = split(includes[file], names, " ")
            for (i = 1; i <= count; ++i)
                expand(from, names[i])
        }
        {
            includes[$1] = includes[$1] " " $2
            if ($1 ~ /\.cpp$/)
                has_source[unit($1)]
        }
        END {
            for (file in includes) {
                if (unit(file) in has_source) {
                    count = split(includes[file], all, " ")
                    for (j = 1; j <= count; ++j)
                        expand(unit(file), all[j])
                }
            }
        }' | sort -u
}

# report_cycles: reads edges and fails if they form a cycle.
report_cycles() {
    local output
    output="$(tsort 2>&1 >/dev/null)" && return
    sed 's/^tsort: -: input contains a loop:/a cycle of includes:/; s/^tsort: /  /' <<<"$output" >&2
    return 1
}

# check_includes [ROOT]: no include leads to a layer above, and neither headers nor units include
# themselves through others.
check_includes() {
    local edges units status=0
    edges="$(include_edges "${1:-.}")"
    if (($(wc -l <<<"$edges") < 50)); then
        echo "Only these includes were found: $edges" >&2
        return 1
    fi
    # shellcheck disable=SC2016
    awk -v layers="$include_layers" '
        BEGIN { count = split(layers, layer, " ") }
        function height(file, i) {
            for (i = count; i > 0; --i)
                if (index(file, layer[i] "/") == 1)
                    return i
            print file " is in no layer"
            found = 1
            return 0
        }
        height($1) < height($2) {
            print $1 " includes " $2 " of a layer above"
            found = 1
        }
        END { exit found }' <<<"$edges" >&2 || status=1
    units="$(unit_edges <<<"$edges")"
    awk '$1 ~ /\.h$/' <<<"$edges" | report_cycles || status=1
    report_cycles <<<"$units" || status=1
    if ((status == 0)); then
        echo "$(wc -l <<<"$units") includes between units lead down, without a cycle"
    fi
    return "$status"
}
