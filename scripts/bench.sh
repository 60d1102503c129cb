# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2154

# ./dev bench [--gate] [--save] [--plots] [FILTER]: runs all benchmarks, or those that match the
# regular expression, such as 'P[0-3]' or 'Q1.*/(ours|floor)', and prints the tables. --gate fails if
# a ratio exceeds its goal by more than a tenth. --save writes the tables, with machine and date,
# between the two marks in docs/performance.md. --plots writes pictures of how costs grow with rules,
# samples, entries and threads to docs/plots; without a filter only what they need is measured.
# The filter "program" measures the program beside other tools, "nats", "inspector" and "python" those
# parts.

bench_machine() {
    local poco
    poco="$(sed -n 's/.*POCO_VERSION 0x\(..\)\(..\)\(..\).*/0x\1 0x\2 0x\3/p' /usr/include/Poco/Version.h)"
    # shellcheck disable=SC2086
    printf 'Measured on %s, commit %s: %s, %s cores, %s, POCO %d.%d.%d, GNU C library %s.\n' \
        "$(date -u +%F)" "$(git describe --always --dirty --exclude '*')" \
        "$(lscpu | sed -n 's/^Model name: *//p' | head -n 1)" "$(nproc)" \
        "$("${CXX:-c++}" --version | head -n 1)" ${poco:-0 0 0} \
        "$(getconf GNU_LIBC_VERSION | sed 's/.* //')"
}

bench_save() {
    local page=docs/performance.md
    awk -v tables="$1" '
        /<!-- tables end -->/ { inside = 0 }
        !inside { print }
        /<!-- tables begin -->/ {
            inside = 1
            while ((getline line < tables) > 0) print line
            print ""
        }' "$page" >build/performance.md
    cp build/performance.md "$page"
    echo "saved in $page"
}

cmd_bench() {
    local save="" plots="" filter="" arguments=() python_arguments=() argument
    for argument in "$@"; do
        case "$argument" in
            --gate)
                arguments+=(--gate)
                python_arguments+=(--gate)
                ;;
            --save) save=yes ;;
            --plots) plots=yes ;;
            -*)
                usage >&2
                return 2
                ;;
            *) filter="$argument" ;;
        esac
    done
    if [[ -n "$save" && -n "$filter" ]]; then
        echo "--save writes complete tables: it cannot be combined with a filter." >&2
        return 2
    fi
    if [[ -n "$plots" ]]; then
        mkdir -p docs/plots
        arguments+=(--plots=docs/plots)
        if [[ -z "$save" && -z "$filter" ]]; then
            filter='^(R\.[0-9]+|Q1\.[0-9]+|N\.[0-9]+|P7\.[0-9]+|P0)/'
        fi
    fi
    if [[ -n "$filter" ]]; then
        arguments+=("--benchmark_filter=$filter")
    fi

    if [[ "$filter" == nats ]]; then
        need "${build_packages[@]}" libbenchmark-dev libboost-dev nats-server zlib1g-dev
        configure bench
        build bench -t nats_benchmark
        begin "measure"
        build/bench/bin/nats_benchmark
        return
    fi

    if [[ "$filter" == inspector ]]; then
        need "${build_packages[@]}" libbenchmark-dev libboost-dev zlib1g-dev
        configure bench
        build bench -t inspector_benchmark
        begin "measure"
        build/bench/bin/inspector_benchmark
        return
    fi

    if [[ "$filter" == program ]]; then
        need "${build_packages[@]}" datamash gawk jq libbenchmark-dev libboost-dev mawk miller \
            python3 sqlite3
        configure bench -DVELMORA_BUILD_TOOLS=ON
        build bench -t tessaryn program_floors
        begin "measure"
        benchmarks/program_benchmark.py build/bench/bin/tessaryn build/bench/bin/program_floors
        return
    fi

    if [[ "$filter" == python ]]; then
        need "${build_packages[@]}" libbenchmark-dev libboost-dev python3-numpy zlib1g-dev
        configure bench
        build bench -t python_floor tessaryn_python
        begin "measure"
        PYTHONPATH=build/bench/python /usr/bin/python3 benchmarks/python_benchmark.py \
            build/bench/bin/python_floor "${python_arguments[@]}"
        return
    fi

    need "${build_packages[@]}" libbenchmark-dev libboost-dev libsqlite3-dev zlib1g-dev
    configure bench
    build bench -t stream_benchmark

    begin "measure"
    local tables=build/bench/tables.md status=0
    {
        echo
        bench_machine
    } >"$tables"
    build/bench/bin/stream_benchmark "${arguments[@]}" >>"$tables" || status=$?
    cat "$tables"
    if [[ -n "$save" ]] && ((status < 2)); then
        bench_save "$tables"
    fi
    return "$status"
}
