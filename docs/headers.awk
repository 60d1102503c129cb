# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Doxygen reads the headers through this, so that they needn't say everything twice:
#
# - The summary of a function that only answers says what it returns ("Whether ...", "The ...");
#   Doxygen wants that under \return as well. A summary that tells of doing something says nothing
#   of the result: Doxygen then asks the author for \return.
# - Doxygen takes the first word of \throws for a class: "what ... throws" gets one.
# - Between ///@{ and ///@} what the first function says holds for those that say nothing.

function flush_block(declaration) {
    if (block != "" && !has_return && summary ~ /^(The|A|An|All|As|Bytes|Index|Number|One|Samples|Time|What|Whether|[`"]) ?/ &&
        declaration ~ /\(/) {
        sub(/operator[=!]=/, "equals", declaration)
        sub(/\(.*/, "", declaration)
        gsub(/template *<.*>|TESSARYN_API|VELMORA_[A-Z]+_API|virtual|static|inline|constexpr|explicit|friend/,
             "", declaration)
        sub(/^ +/, "", declaration)
        if (declaration ~ / / && declaration !~ /^void |^using |=/) {
            sub(/\. .*|\.$/, "", summary)
            block = block indent "/// \\return " tolower(substr(summary, 1, 1)) substr(summary, 2) "\n"
        }
    }
    printf "%s", block
    if (in_group && shared == "")
        shared = block
    block = summary = ""
    has_return = in_summary = 0
}

/^ *\/\/\/@[{}]/ {
    flush_block("")
    in_group = /@{/
    shared = ""
    print $0 "\n"
    next
}
/operator=\(.*\/\/\/< / {
    $0 = $0 " \\return the object itself"
}
/^ *\/\/\/($|[^<])/ {
    if (block == "") {
        match($0, /^ */)
        indent = substr($0, 1, RLENGTH)
        in_summary = 1
    }
    if ($0 ~ /\\throws [a-z]+ /)
        sub(/\\throws /, "\\throws ... ")
    block = block $0 "\n"
    begins = 1
    text = $0
    sub(/^ *\/\/\/ */, "", text)
    if (text == "" || text ~ /^[\\@]/)
        in_summary = 0
    if (in_summary)
        summary = summary (summary == "" ? "" : " ") text
    if (text ~ /\\(return|copydoc|file|name)/)
        has_return = 1
    next
}
{
    # The result's type stands in the line below that of the template's parameters.
    if (block != "" && $0 ~ /^ *(template <.*>$|\/\/ )/) {
        held = held $0 "\n"
        next
    }
    if (block != "")
        flush_block($0)
    else if (in_group && begins && /\(/)
        printf "%s", shared
    printf "%s%s\n", held, $0
    held = ""
    begins = /;$/
}
