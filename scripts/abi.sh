# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2154

# ./dev abi [COMMIT]: compares the binary interface of the libraries with that of a commit, by
# default the last release. Exits with 0 if hosts built with that commit still run, with 1 if they
# do not, with 2 if there is nothing to compare with.
# ./dev abi --update: writes the list of symbols that ./dev check and the packages compare.

# abi_build <sources> <build folder>: installs libraries and headers in <build folder>/root.
abi_build() {
    cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELMORA_BUILD_TESTS=OFF \
        -DVELMORA_BUILD_EXAMPLES=OFF -DVELMORA_BUILD_TOOLS=OFF -DVELMORA_PYTHON=OFF \
        -DCMAKE_INSTALL_LIBDIR=lib
    cmake --build "$2" -j "$jobs"
    rm -rf "$2/root"
    cmake --install "$2" --prefix "$2/root" >"$2/install.log"
}

cmd_abi() {
    if (($# > 1)); then
        usage >&2
        return 2
    fi
    if [[ "${1-}" == --update ]]; then
        need "${build_packages[@]}"
        # A tree that is configured with tests stays so.
        [[ -f build/release/build.ninja ]] ||
            configure release -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_EXAMPLES=OFF
        build release -t velmora_tessaryn
        # shellcheck source=scripts/symbols.sh
        source scripts/symbols.sh
        write_symbols >build/symbols.txt
        cp build/symbols.txt "$symbols_file"
        git --no-pager diff --stat -- "$symbols_file"
        return
    fi

    local old="${1-}"
    if [[ -z "$old" ]] && ! old="$(git describe --tags --abbrev=0 --match 'v[0-9]*' 2>/dev/null)"; then
        echo "There is no release yet, no tag such as v1.0.0. To compare with another commit:" >&2
        echo "./dev abi <commit>" >&2
        return 2
    fi
    need "${build_packages[@]}" abigail-tools
    begin "build the libraries of $old"
    rm -rf build/abi/sources
    mkdir -p build/abi/sources
    git archive "$old" | tar -x -C build/abi/sources
    abi_build build/abi/sources build/abi/old
    begin "build the current libraries"
    abi_build . build/abi/new

    begin "compare the libraries with those of $old"
    local library status broken=0
    for library in common serializer tessaryn; do
        status=0
        abidiff --suppressions scripts/abi.suppressions \
            --headers-dir1 build/abi/old/root/include \
            --headers-dir2 build/abi/new/root/include \
            "build/abi/old/root/lib/libvelmora_$library.so" \
            "build/abi/new/root/lib/libvelmora_$library.so" ||
            status=$?
        # Bits: 1 and 2 failures of the tool, 4 a change, 8 an incompatible one.
        if ((status & 3)); then
            return 2
        elif ((status & 8)); then
            broken=1
            echo "velmora_$library: hosts built with $old no longer run"
        elif ((status & 4)); then
            echo "velmora_$library: changed; hosts built with $old run unless a line above says otherwise"
        else
            echo "velmora_$library: no change"
        fi
    done
    return "$broken"
}
