# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2154

# ./dev soak [--plain | --tsan] [SECONDS]: runs threads of all kinds on a host with hundreds of
# streams and rules, 60 s as it is shipped and 60 s under the thread sanitizer. Fails on a torn, lost
# or unreported sample, on memory growth and on a stall.

# soak_build <preset> <seconds> <command prefix>...
soak_build() {
    configure "$1" -DVELMORA_BUILD_SOAK=ON
    build "$1" -t soak
    begin "soak $1 for $2 s"
    TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" "${@:3}" "build/$1/bin/soak" "$2"
}

cmd_soak() {
    local seconds=60 plain=yes tsan=yes argument
    for argument in "$@"; do
        case "$argument" in
            --plain) tsan="" ;;
            --tsan) plain="" ;;
            *) seconds="$argument" ;;
        esac
    done
    if [[ ! "$seconds" =~ ^[1-9][0-9]*$ || -z "$plain$tsan" ]]; then
        usage >&2
        return 2
    fi
    need "${build_packages[@]}"
    if [[ -n "$plain" ]]; then
        soak_build release "$seconds"
    fi
    if [[ -n "$tsan" ]]; then
        find_fixed_addresses
        soak_build tsan "$seconds" "${fixed_addresses[@]}"
    fi
}
