# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Doxygen reads the pages through this: it takes an apostrophe in `code` for the code's end, and
# shows the backslash of a bar in a table's `code`.

/^```/ {
    in_block = !in_block
}
{
    line = ""
    rest = $0
    while (!in_block && match(rest, /`[^`]+`/)) {
        code = substr(rest, RSTART + 1, RLENGTH - 2)
        if (code ~ /\\\|/) {
            gsub(/&/, "\\&amp;", code)
            gsub(/</, "\\&lt;", code)
            gsub(/>/, "\\&gt;", code)
            code = "<code>" code "</code>"
        } else if (code ~ /'/) {
            code = "``" code "``"
        } else {
            code = "`" code "`"
        }
        line = line substr(rest, 1, RSTART - 1) code
        rest = substr(rest, RSTART + RLENGTH)
    }
    print line rest
}
