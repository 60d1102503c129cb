# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# cmake -DDYGRAPHS=<folder of dygraph.min.js> -DOUTPUT=<source> -P page_parts.cmake: writes the parts
# of a page as constants of the program.
set(parts
    dygraphsScript "${DYGRAPHS}/dygraph.min.js" dygraphsStyle "${DYGRAPHS}/dygraph.min.css"
    reportScript "${CMAKE_CURRENT_LIST_DIR}/report.js" reportStyle
    "${CMAKE_CURRENT_LIST_DIR}/report.css")
set(source "#include \"plot/page_parts.h\"\n\nnamespace velmora::tool {\n\n")
while(parts)
    list(POP_FRONT parts name file)
    file(READ "${file}" hex HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${hex}")
    string(APPEND source "static constexpr char ${name}Bytes[] = {${bytes}'\\0'};\n"
                         "const std::string_view ${name}(${name}Bytes, sizeof ${name}Bytes - 1);\n\n")
endwhile()
file(WRITE "${OUTPUT}" "${source}}  // namespace velmora::tool\n")
