# shellcheck shell=bash
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# ./dev docs: generates the reference of everything that a host can include, with the guides, as
# HTML. A warning fails: an undocumented name or parameter, a broken reference.
cmd_docs() {
    if (($# > 0)); then
        usage >&2
        return 2
    fi
    need doxygen
    begin "generate the reference"
    rm -rf build/docs
    mkdir -p build/docs
    if ! doxygen docs/Doxyfile || [[ -s build/docs/warnings.txt ]]; then
        sort -u build/docs/warnings.txt >&2
        return 1
    fi
    echo "build/docs/html/index.html: $(find build/docs/html -name '*.html' | wc -l) pages"
}
