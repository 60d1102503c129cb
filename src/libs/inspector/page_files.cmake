# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# cmake -DDYGRAPHS=<folder of dygraph.min.js> -DOUTPUT=<source> -P page_files.cmake: writes the
# page's files, and the chart library's, as a table of the library.
file(GLOB files "${CMAKE_CURRENT_LIST_DIR}/page/*")
set(number 0)
set(arrays "")
set(table "")
foreach(file IN LISTS files ITEMS "${DYGRAPHS}/dygraph.min.css" "${DYGRAPHS}/dygraph.min.js")
    get_filename_component(name "${file}" NAME)
    string(REPLACE ".min." "." name "${name}")
    file(READ "${file}" hex HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${hex}")
    string(APPEND arrays "static constexpr char file${number}[] = {${bytes}'\\0'};\n")
    string(APPEND table "    {\"/${name}\", {file${number}, sizeof file${number} - 1}},\n")
    math(EXPR number "${number} + 1")
endforeach()
file(
    WRITE "${OUTPUT}"
    "#include \"inspector/page_files.h\"\n\nnamespace velmora::inspector {\n\n${arrays}
static constexpr PageFile files[] = {\n${table}};
const std::span<const PageFile> pageFiles(files);\n
}  // namespace velmora::inspector\n")
