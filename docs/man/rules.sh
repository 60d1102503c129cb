#!/usr/bin/env bash
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# rules.sh <page> <output>: writes the manual page tessaryn-rules(7) from docs/rule_language.md.

set -euo pipefail
{
    printf '# NAME\n\ntessaryn-rules - the rule language of tessaryn\n\n'
    # Headings move up a level, and links to other pages become text.
    sed -E '1s/^# .*/# DESCRIPTION/; s/^#(#+ )/\1/; s/\[([^]]*)\]\([^)]*\.md[^)]*\)/\1/g' "$1"
    printf '\n# SEE ALSO\n\n**tessaryn**(1)\n'
} | lowdown -s -Tman -M section=7 -M title=TESSARYN-RULES >"$2"
