# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
# shellcheck shell=bash disable=SC2154

# Members of classes whose declaration says all need no comment; the reference lists them without.
# Classes, free functions and enumerations need one.
docs_accepted='(Member .* of (class|struct)|Compound std::hash|GetBaseType<).*is not documented'

# check_reference: the reference has the free functions and enumerations of the headers, and the
# pages in the order of docs/index.md.
check_reference() {
    local name members status=0
    members="$(sed -n '/<compound kind="namespace">/,/<\/compound>/p' build/docs/reference.tag)"
    for name in Always And CheckRule CheckSample DescribeRule Expression GetBaseType \
        HasStreamChangeType Not Or ReadJson ReadXml ToString WriteJson WriteXml Xor \
        BaseType NodeFlags StreamChangeType; do
        if [[ "$members" != *"<name>$name</name>"* ]]; then
            echo "The reference has no $name." >&2
            status=1
        fi
    done
    if ! diff <(grep -oP '^\| \[[^]]*\]\(\K[a-z_]+(?=\.md\))' docs/index.md) \
        <(grep -oP 'href="md_docs_\K[a-z_]+(?=\.html)' build/docs/html/pages.html |
            sed 's/__/_/g' | grep -v '^index$') >&2; then
        echo "The pages of docs/index.md (<) and of the reference (>) are not in the same order." >&2
        status=1
    fi
    return "$status"
}

# ./dev docs: generates the reference of everything that a host can include, with the guides, as
# HTML. A warning fails: an undocumented name, a parameter that does not exist, a broken reference.
cmd_docs() {
    if (($# > 0)); then
        usage >&2
        return 2
    fi
    need "${build_packages[@]}" doxygen
    # A tree that is configured with tests stays so.
    [[ -f build/release/build.ninja ]] ||
        configure release -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_EXAMPLES=OFF
    local library targets=()
    for library in src/libs/*/; do
        targets+=("velmora_$(basename "$library")_headers")
    done
    build release -t "${targets[@]}"
    begin "generate the reference"
    rm -rf build/docs
    mkdir -p build/docs
    doxygen docs/Doxyfile
    if grep -vE "$docs_accepted" build/docs/warnings.txt | sort -u >&2; then
        return 1
    fi
    check_reference
    echo "build/docs/html/index.html: $(find build/docs/html -name '*.html' | wc -l) pages"
}
