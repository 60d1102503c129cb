# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2154

# The symbols of the libraries, for ./dev check and ./dev abi --update. The list is Debian's:
# dpkg-gensymbols compares it with the libraries whenever the packages are made.

symbols_file=debian/libvelmora-tessaryn1.symbols
symbols_libraries=(common serializer tessaryn)

# list_symbols <library>: the demangled names that hosts link with. Compilers differ on which
# templates and inline functions leave a weak symbol, and on whether a class's run-time type is weak.
list_symbols() {
    nm --dynamic --defined-only "build/release/lib/libvelmora_$1.so" | c++filt |
        sed -nE -e 's/^[0-9a-f]+ [^WVu] (typeinfo name for .*)$//' \
            -e 's/^[0-9a-f]+ [^WVu] (.*)$/\1/p' \
            -e 's/^[0-9a-f]+ [WVu] ((vtable|typeinfo) for ([^<]*::)?[^<]*)$/\1/p' |
        grep -E 'velmora::|BaseException' | LC_ALL=C sort -u
}

# write_symbols: prints the list for the libraries of the release preset. A symbol that the present
# list has keeps its version, a new one gets the library's.
write_symbols() {
    local version library
    version="$(sed -n 's/^    VERSION \([0-9.]*\)$/\1/p' CMakeLists.txt)"
    for library in "${symbols_libraries[@]}"; do
        echo "libvelmora_$library.so.${version%%.*} libvelmora-tessaryn1 #MINVER#"
        echo '* Build-Depends-Package: libvelmora-tessaryn-dev'
        # What a compiler leaves of templates and inline functions, other libraries' included.
        echo " (optional=weak|regex)\"^_Z\" ${version%%.*}.0.0"
        list_symbols "$library" | awk -v version="$version" '
            NR == FNR { if (match($0, /".*"/)) versions[substr($0, RSTART, RLENGTH)] = $NF; next }
            {
                name = "\"" $0 "@Base\""
                print " (c++)" name, name in versions ? versions[name] : version
            }' <(grep '^ (c++)' "$symbols_file" 2>/dev/null || echo) -
    done
}

# check_symbols: the libraries export what the list says, and need nothing that prints or exits.
check_symbols() {
    local library needed status=0 arguments=()
    for library in "${symbols_libraries[@]}"; do
        arguments+=("-ebuild/release/lib/libvelmora_$library.so")
        needed="$(nm --dynamic --undefined-only --demangle "build/release/lib/libvelmora_$library.so")"
        if [[ "$needed" != *operator\ new* && "$needed" != *Poco::* ]] ||
            grep -E ' (std::(cout|cerr|clog)|(v?f?printf|f?puts|putchar|perror|abort|_?exit))(@|$)' \
                <<<"$needed" >&2; then
            echo "velmora_$library must not need these symbols" >&2
            status=1
        fi
    done
    if ! diff <(write_symbols) "$symbols_file" >&2; then
        echo "The symbols (<) are not those of $symbols_file (>)." >&2
        echo "If symbols were meant to come or go: ./dev abi --update" >&2
        status=1
    fi
    dpkg-gensymbols -c4 -plibvelmora-tessaryn1 -I"$symbols_file" "${arguments[@]}" \
        -Obuild/symbols.txt >&2 || status=1
    if ((status == 0)); then
        echo "$(grep -c '^ (c++)' "$symbols_file") symbols"
    fi
    return "$status"
}
