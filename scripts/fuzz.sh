# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2154

# fuzz_length <target>: the maximum length of an input in bytes. Longer ones find nothing more.
fuzz_length() {
    case "$1" in
        documents) echo 4000 ;;
        inspector_requests) echo 3000 ;;
        paths) echo 150 ;;
        repositories) echo 16000 ;;
        rule_text) echo 4000 ;;
        *) echo 500 ;;
    esac
}

# fuzz_target <target> <seconds> <seed>: runs in the background, so it writes its status to a file.
# The corpus that a run finds stays below build/fuzz for the next one. A leak is a finding like a
# failed assertion. So are memory and time out of proportion to the input, which the targets check
# for single operations (tests/fuzz/cost_limit.h); the limits below end what never returns to them.
fuzz_target() {
    local target="$1" place="build/fuzz/runs/$1" options=() status=0
    rm -rf "$place/findings"
    mkdir -p "$place/corpus" "$place/findings"
    if [[ -f "tests/fuzz/$target.dict" ]]; then
        options+=("-dict=tests/fuzz/$target.dict")
    fi
    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 "build/fuzz/bin/fuzz_$target" \
        -max_total_time="$2" -seed="$3" -max_len="$(fuzz_length "$target")" -len_control=0 -timeout=20 \
        -rss_limit_mb=1024 -print_final_stats=1 -artifact_prefix="$place/findings/" \
        "${options[@]}" "$place/corpus" "tests/fuzz/corpus/$target" >"$place/log" 2>&1 ||
        status=$?
    echo "$status" >"$place/status"
}

# ./dev fuzz [SECONDS [SEED]]: runs all targets, as many at a time as jobs. Runs with one seed are
# alike, not equal: the fuzzer also learns from addresses and times that the targets compare.
cmd_fuzz() {
    local seconds="${1:-30}" seed="${2:-0}" target place failed=0 targets=()
    if (($# > 2)) || [[ ! "$seconds $seed" =~ ^[1-9][0-9]*\ [0-9]+$ ]]; then
        usage >&2
        return 2
    fi
    need "${build_packages[@]}" clang libclang-rt-14-dev libgtest-dev
    configure fuzz
    build fuzz
    begin "fuzz each target for $seconds s, $jobs at a time"
    for place in tests/fuzz/corpus/*/; do
        targets+=("$(basename "$place")")
    done
    rm -f build/fuzz/runs/*/status
    for target in "${targets[@]}"; do
        while (($(jobs -rp | wc -l) >= jobs)); do
            wait -n || true
        done
        fuzz_target "$target" "$seconds" "$seed" &
    done
    wait
    for target in "${targets[@]}"; do
        place="build/fuzz/runs/$target"
        printf '%-16s %9s executions\n' "$target" \
            "$(sed -n 's/^stat::number_of_executed_units: *//p' "$place/log")"
        if [[ "$(cat "$place/status")" != 0 ]]; then
            failed=1
            grep -E -A 12 'Failure$|ERROR:|runtime error:|terminate called' "$place/log" |
                grep -vE 'NEW_FUNC|#[0-9]+ .*(fuzzer::|testing::|sanitizer|raise|abort|pthread|Finding)' | head -n 30 >&2 || true
            echo "The complete output is in $place/log. To reproduce:" >&2
            printf 'build/fuzz/bin/fuzz_%s %s\n' "$target" "$(echo "$place"/findings/*)" >&2
        fi
    done
    return "$failed"
}
