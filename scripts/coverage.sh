# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2154

# ./dev coverage: prints how many lines of the libraries the tests run, by file and in total. The
# page build/coverage/report/index.html shows each line.
cmd_coverage() {
    if (($# > 0)); then
        usage >&2
        return 2
    fi
    need "${test_packages[@]}" gcovr
    configure coverage
    build coverage -t tests/all
    find build/coverage -name '*.gcda' -delete
    begin "test coverage"
    # The packaging tests build the libraries again, without counting.
    ctest --preset coverage -j "$jobs" -LE package
    begin "count lines"
    mkdir -p build/coverage/report
    gcovr --root . --filter src/libs/ --object-directory build/coverage \
        -j "$jobs" --html-details build/coverage/report/index.html --txt - build/coverage
}
