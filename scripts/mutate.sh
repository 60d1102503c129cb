# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2154

# ./dev mutate [COUNT [SEED]]: changes one line of the libraries at a time, COUNT times, 20 by
# default, builds them and runs the tests. Lists the changes that no test noticed: each needs a test,
# or changes nothing that hosts see. One seed always chooses the same changes.
# ./dev mutate --locks [PLACE]: leaves out each lock of the libraries, or of one source or folder, in
# turn, and says whether the tests of its library notice, or else do under the thread sanitizer. One
# build serves for all: it leaves out the lock that the environment names. Locks that somebody waits
# with or opens early are not tried; without them the sources do not compile.
# Both work on a copy of the sources in build/mutate.

mutate_place=build/mutate
mutate_builds=$mutate_place
mutate_targets=()
mutate_tests=mutate_test

# mutate_copy: makes the copy equal to the sources. Files that are equal keep their times, so that
# only what changed is built again.
mutate_copy() {
    local file copy="$mutate_place/sources"
    mkdir -p "$copy"
    git ls-files -co --exclude-standard -z | xargs -0 sha256sum >"$mutate_place/sums" 2>/dev/null ||
        true
    { (cd "$copy" && sha256sum --check --quiet ../sums 2>/dev/null) || true; } |
        sed -n 's/: FAILED.*//p' | while IFS= read -r file; do
        cp --parents "$file" "$copy"
    done
    (cd "$copy" && find . -path ./build -prune -o -type f -printf '%P\n') | while IFS= read -r file; do
        [[ -f "$file" ]] || rm "$copy/$file"
    done
}

# mutate_prepare <build>: builds what is configured, and tests it.
mutate_prepare() {
    begin "build $1"
    mutate_build "$1" || {
        tail -n 20 "$mutate_place/$1.log" >&2
        return 1
    }
    begin "test $1"
    "$mutate_tests" "$1" || {
        tail -n 20 "$mutate_place/$1.test" >&2
        return 1
    }
}

mutate_build() {
    cmake --build "$mutate_builds/$1" -j "$jobs" "${mutate_targets[@]}" \
        >>"$mutate_place/$1.log" 2>&1
}

# mutate_programs <build> [FILE]: the test programs, those of the file's library first.
mutate_programs() {
    local library="${2#src/libs/}" program first=() later=()
    library="${library%%/*}"
    for program in "$mutate_builds/$1"/bin/*_tests; do
        case "$(basename "$program")" in
            "$library"*_tests) first+=("$program") ;;
            *) later+=("$program") ;;
        esac
    done
    printf '%s\n' "${first[@]}" "${later[@]}" | sed '/^$/d'
}

# mutate_run <build> <filter>: runs the test programs that it reads, several at a time, up to the
# first failure. A hang is a failure.
mutate_run() {
    local prefix=()
    if [[ "$1" == tsan ]]; then
        prefix=("${fixed_addresses[@]}")
    fi
    # Status 255 ends xargs early.
    # shellcheck disable=SC2016
    TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" xargs -P "$jobs" -I '{}' \
        bash -c '"${@:2}" "$0" --gtest_filter="$1" --gtest_fail_fast --gtest_brief=1 || exit 255' \
        '{}' "$2" timeout 300 "${prefix[@]}" >"$mutate_place/$1.test" 2>&1
}

# mutate_test <build> [FILE]: runs all tests. The sweep that fails each allocation takes as long as
# all others together, so it comes last.
mutate_test() {
    local filter
    for filter in '-OutOfMemory*' 'OutOfMemory*'; do
        mutate_programs "$1" "${2-}" | mutate_run "$1" "$filter" || return 1
    done
}

# mutate_threads <build> [FILE]: runs the tests of the file's library, those with threads first.
# Those of rules and of missing memory take long, and run in one thread.
mutate_threads() {
    local filter library="${2-}"
    library="${library#src/libs/}"
    for filter in '*Threads*:*Locks*:SharedStream*' '-*Threads*:*Locks*:SharedStream*:OutOfMemory*'; do
        find "$mutate_builds/$1/bin" -name "${library%%/*}*_tests" ! -name '*_rule_tests' |
            mutate_run "$1" "$filter" || return 1
    done
}

# mutate_list: prints "file<tab>line<tab>new text" for each change of one line.
mutate_list() {
    (
        cd "$mutate_place/sources" || exit
        # shellcheck disable=SC2016
        find src/libs -name '*.h' -o -name '*.cpp' | sort | xargs awk '
            function change(from, to, text) {
                text = $0
                if (match(text, from)) {
                    text = substr(text, 1, RSTART - 1) to substr(text, RSTART + RLENGTH)
                    print FILENAME "\t" FNR "\t" text
                }
            }
            /^ *(\/\/|#|template|using|static_assert)/ || /operator|\/\/\// { next }
            {
                change(" == ", " != "); change(" != ", " == ")
                change(" <= ", " < "); change(" >= ", " > ")
                change(" < ", " <= "); change(" > ", " >= ")
                change(" && ", " || "); change(" [|][|] ", " \\&\\& ")
                change(" [+] 1", " + 2"); change(" - 1", " - 0")
                change("true", "false"); change("false", "true")
                change("[+][+]", "--"); change(" 0;", " 1;"); change("[(]0[)]", "(1)")
            }
            /^ +(} else )?if \(.*\) {$/ && !/if \((const )?auto/ {
                text = $0
                sub(/if \(/, "if (!(", text)
                sub(/\) {$/, ")) {", text)
                print FILENAME "\t" FNR "\t" text
            }
            /^ +[a-zA-Z_][a-zA-Z_.:>-]*\(.*\);$/ || /^ +[a-zA-Z_.>-]+ [+-]?= .*;$/ {
                print FILENAME "\t" FNR "\t" ";"
            }'
    )
}

# mutate_locks [PLACE]: the same for each lock, in place of which the changed text makes one that is
# left out when the environment has its number, the line of this list.
mutate_locks() {
    (
        cd "$mutate_place/sources" || exit
        grep -rnE '^ +const ([A-Za-z]*Lock|std::lock_guard|(Poco|std)::[A-Za-z_]+<[^>]*>) [a-zA-Z]*[lL]ock\(' \
            "${1:-src/libs}" | sort -t : -k 1,1 -k 2n |
            sed -E 's/^([^:]*):([0-9]+):/\1\t\2\t/' |
            awk -F '\t' -v OFS='\t' '{
                sub(/std::lock_guard /, "std::lock_guard<std::mutex> ", $3)
                match($3, /^ +const /)
                rest = substr($3, RLENGTH + 1)
                match(rest, /^[^ ]* /)
                $3 = "    const OmittableLock<" substr(rest, 1, RLENGTH - 1) ", " NR ">" \
                     substr(rest, RLENGTH)
                print
            }'
    )
}

# mutate_omittable: makes all locks of the list omittable.
mutate_omittable() {
    local file line text
    while IFS=$'\t' read -r file line text; do
        # In place of the first line, a comment, the lines of all others stay.
        TEXT="$text" awk -v line="$line" '
            FNR == 1 { print "#include \"common/omittable_lock.h\""; next }
            FNR == line { print ENVIRON["TEXT"]; next }
            { print }' "$mutate_place/sources/$file" >"$mutate_place/changed"
        mv "$mutate_place/changed" "$mutate_place/sources/$file"
    done <"$mutate_place/list"
    cat >"$mutate_place/sources/src/libs/common/omittable_lock.h" <<'END'
#pragma once
#include <cstdlib>
#include <optional>

inline const char* const omittedLock = std::getenv("OMITTED_LOCK");

template <class Lock, int number>
class OmittableLock {
  public:
    template <class Mutex>
    explicit OmittableLock(Mutex& mutex) {
        if (omittedLock == nullptr || std::atoi(omittedLock) != number) {
            lock.emplace(mutex);
        }
    }

  private:
    std::optional<Lock> lock;
};
END
}

# mutate_apply <file> <line> <text>: changes the copy.
mutate_apply() {
    TEXT="$3" awk -v line="$2" 'FNR == line { print ENVIRON["TEXT"]; next } { print }' "$1" \
        >"$mutate_place/sources/$1"
}

# mutate_report <noticed> <file> <line> <text>
mutate_report() {
    printf '%-10s %s:%s\n    - %s\n    + %s\n' "${1:-SURVIVED}" "$2" "$3" \
        "$(sed -n "${3}s/^ *//p" "$2")" "${4#"${4%%[! ]*}"}"
}

# mutate_all_locks [PLACE]
mutate_all_locks() {
    local file line text preset noticed number=0 survived=0 libraries library
    mutate_locks "${1-}" >"$mutate_place/list"
    mutate_omittable
    mapfile -t libraries < <(cut -d / -f 3 "$mutate_place/list" | sort -u)
    mapfile -t mutate_targets < <(
        for library in "${libraries[@]}"; do
            grep -hoE "^ +${library}[a-z_]*_tests$" "tests/$library/CMakeLists.txt"
        done | sed '/_rule_tests/d; s/^ */--target=/'
    )
    mutate_builds="$mutate_place/sources/build"
    mutate_tests=mutate_threads
    for preset in debug tsan; do
        # In folders like those of the presets, a compiler cache has what is not changed.
        (cd "$mutate_place/sources" && cmake --preset "$preset") >"$mutate_place/$preset.log"
        mutate_prepare "$preset"
    done
    begin "leave out $(wc -l <"$mutate_place/list") locks"
    while IFS=$'\t' read -r file line text <&3; do
        number=$((number + 1))
        noticed=
        if ! OMITTED_LOCK="$number" mutate_threads debug "$file"; then
            noticed=debug
        elif ! OMITTED_LOCK="$number" mutate_threads tsan "$file"; then
            noticed=tsan
        else
            survived=$((survived + 1))
        fi
        mutate_report "$noticed" "$file" "$line" ""
    done 3<"$mutate_place/list"
    echo "$survived of $number locks are missed by no test"
}

cmd_mutate() {
    local count=20 seed="$RANDOM" file line text noticed changed=0 survived=0 linker=()
    need "${test_packages[@]}"
    find_fixed_addresses
    mutate_copy
    if [[ "${1-}" == --locks ]]; then
        mutate_all_locks "${2-}"
        return
    elif [[ ! "$*" =~ ^([1-9][0-9]*)?( [0-9]+)?$ ]]; then
        usage >&2
        return 2
    fi
    count="${1:-20}" seed="${2:-$seed}"
    if command -v ld.lld >/dev/null; then
        linker=(-DCMAKE_{EXE,SHARED}_LINKER_FLAGS=-fuse-ld=lld)
    fi
    cmake -S "$mutate_place/sources" -B "$mutate_builds/plain" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
        -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DVELMORA_CHECKED=ON -DVELMORA_BUILD_TOOLS=OFF \
        -DVELMORA_PYTHON=OFF -DVELMORA_BUILD_EXAMPLES=OFF -DCMAKE_LINK_DEPENDS_NO_SHARED=ON \
        "${linker[@]}" >"$mutate_place/plain.log"
    mutate_prepare plain
    mutate_list | awk -v seed="$seed" 'BEGIN { srand(seed) } { print rand() "\t" $0 }' |
        sort | cut -f 2- >"$mutate_place/list"
    begin "make $count of $(wc -l <"$mutate_place/list") changes, seed $seed"
    while IFS=$'\t' read -r file line text <&3 && ((changed < count)); do
        mutate_apply "$file" "$line" "$text"
        # What does not compile says nothing about the tests.
        if mutate_build plain; then
            noticed=noticed
            if mutate_test plain "$file"; then
                noticed=
                survived=$((survived + 1))
            fi
            changed=$((changed + 1))
            mutate_report "$noticed" "$file" "$line" "$text"
        fi
        cp "$file" "$mutate_place/sources/$file"
    done 3<"$mutate_place/list"
    echo "$survived of $changed changes survived"
}
