# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2154

# ./dev mutate [COUNT [SEED]]: changes one line of the libraries at a time, COUNT times, 20 by
# default, builds them and runs the tests. Lists the changes that no test noticed: each needs a test,
# or changes nothing that hosts see. One seed always chooses the same changes.
# ./dev mutate --locks [FILE]: leaves out each lock of the libraries, or of one source, in turn, and
# says whether the tests notice, and whether they do under the thread sanitizer.
# Both work on a copy of the sources in build/mutate.

mutate_place=build/mutate

# mutate_copy: makes the copy equal to the sources. Files that are equal keep their times, so that
# only what changed is built again.
mutate_copy() {
    local file copy="$mutate_place/sources"
    mkdir -p "$copy"
    git ls-files -co --exclude-standard | while IFS= read -r file; do
        if [[ -f "$file" ]] && ! cmp -s "$file" "$copy/$file"; then
            mkdir -p "$copy/$(dirname "$file")"
            cp "$file" "$copy/$file"
        fi
    done
    (cd "$copy" && find . -type f -printf '%P\n') | while IFS= read -r file; do
        [[ -f "$file" ]] || rm "$copy/$file"
    done
}

# mutate_prepare <build> <cmake argument>...: copies the sources and builds the unchanged copy.
mutate_prepare() {
    local linker=()
    if command -v ld.lld >/dev/null; then
        linker=(-DCMAKE_{EXE,SHARED}_LINKER_FLAGS=-fuse-ld=lld)
    fi
    mutate_copy
    begin "build $1"
    cmake -S "$mutate_place/sources" -B "$mutate_place/$1" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
        -DVELMORA_BUILD_TOOLS=OFF -DVELMORA_PYTHON=OFF -DVELMORA_BUILD_EXAMPLES=OFF \
        -DCMAKE_LINK_DEPENDS_NO_SHARED=ON \
        "${linker[@]}" "${@:2}" >"$mutate_place/$1.log"
    mutate_build "$1" || {
        tail -n 20 "$mutate_place/$1.log" >&2
        return 1
    }
    begin "test $1"
    mutate_test "$1" || {
        tail -n 20 "$mutate_place/$1.log" >&2
        return 1
    }
}

mutate_build() {
    cmake --build "$mutate_place/$1" -j "$jobs" >>"$mutate_place/$1.log" 2>&1
}

# mutate_programs <build> [FILE]: the test programs, those of the file's library first.
mutate_programs() {
    local library="${2#src/libs/}" program first=() later=()
    library="${library%%/*}"
    for program in "$mutate_place/$1"/bin/*_tests; do
        case "$(basename "$program")" in
            "$library"*_tests) first+=("$program") ;;
            *) later+=("$program") ;;
        esac
    done
    printf '%s\n' "${first[@]}" "${later[@]}" | sed '/^$/d'
}

# mutate_test <build> [FILE]: runs the test programs, several at a time, up to the first failure. A
# hang is a failure. The sweep that fails each allocation takes as long as all others together, so
# it comes last.
mutate_test() {
    local filter prefix=()
    if [[ "$1" == tsan ]]; then
        prefix=("${fixed_addresses[@]}")
    fi
    for filter in '-OutOfMemory*' 'OutOfMemory*'; do
        # Status 255 ends xargs early.
        # shellcheck disable=SC2016
        mutate_programs "$1" "${2-}" |
            TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" xargs -P "$jobs" -I '{}' \
                bash -c '"${@:2}" "$0" --gtest_filter="$1" --gtest_fail_fast --gtest_brief=1 || exit 255' \
                '{}' "$filter" timeout 300 "${prefix[@]}" >"$mutate_place/$1.test" 2>&1 || return 1
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

# mutate_locks [FILE]: the same for each lock.
mutate_locks() {
    (
        cd "$mutate_place/sources" || exit
        grep -rnE '^ +(const )?([A-Za-z]*Lock|Poco::ScopedLock[A-Za-z]*<[^>]*>) [a-zA-Z]+\(' \
            "${1:-src/libs}" |
            sed -E 's/^([^:]*):([0-9]+):.*/\1\t\2\t;/'
    )
}

# mutate_apply <file> <line> <text>: changes the copy.
mutate_apply() {
    TEXT="$3" awk -v line="$2" 'FNR == line { print ENVIRON["TEXT"]; next } { print }' "$1" \
        >"$mutate_place/sources/$1"
}

cmd_mutate() {
    local count=20 seed="$RANDOM" builds=(plain) file line text build noticed
    local changed=0 survived=0
    need "${test_packages[@]}"
    find_fixed_addresses
    if [[ "${1-}" == --locks ]]; then
        builds=(plain tsan)
    elif [[ "$*" =~ ^([1-9][0-9]*)?( [0-9]+)?$ ]]; then
        count="${1:-20}" seed="${2:-$seed}"
    else
        usage >&2
        return 2
    fi
    for build in "${builds[@]}"; do
        if [[ "$build" == tsan ]]; then
            mutate_prepare tsan -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" -DVELMORA_SANITIZE=thread
        else
            mutate_prepare plain -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DVELMORA_CHECKED=ON
        fi
    done
    if [[ "${1-}" == --locks ]]; then
        mutate_locks "${2-}" >"$mutate_place/list"
        count="$(wc -l <"$mutate_place/list")"
    else
        mutate_list | awk -v seed="$seed" 'BEGIN { srand(seed) } { print rand() "\t" $0 }' |
            sort | cut -f 2- >"$mutate_place/list"
        begin "make $count of $(wc -l <"$mutate_place/list") changes, seed $seed"
    fi
    while IFS=$'\t' read -r file line text <&3 && ((changed < count)); do
        mutate_apply "$file" "$line" "$text"
        noticed=()
        for build in "${builds[@]}"; do
            if ! mutate_build "$build"; then
                noticed=(compiler)
                break
            fi
            mutate_test "$build" "$file" || noticed+=("$build")
        done
        cp "$file" "$mutate_place/sources/$file"
        # What does not compile says nothing about the tests.
        if [[ "${noticed[*]}" == compiler && "${#builds[@]}" == 1 ]]; then
            continue
        fi
        changed=$((changed + 1))
        if ((${#noticed[@]} == 0)); then
            survived=$((survived + 1))
        fi
        printf '%-10s %s:%s\n    - %s\n    + %s\n' "${noticed[*]:-SURVIVED}" "$file" "$line" \
            "$(sed -n "${line}s/^ *//p" "$file")" "${text#"${text%%[! ]*}"}"
    done 3<"$mutate_place/list"
    echo "$survived of $changed changes survived"
}
