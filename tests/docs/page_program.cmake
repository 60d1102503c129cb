# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Follows the instructions of PAGE: saves its program and its CMakeLists.txt, runs its commands, and
# compares the output. Parts that PAGE lacks are taken from PROJECT_PAGE. With SECTION, they are
# searched below this heading in both pages. With EXAMPLE, the program must be that file, except for
# the comments at its head. The libraries are those of BUILD_DIR, which are installed first.

# extract(<variable> <page> <language> [AFTER <text>]): the page's first block of the
# language after the text; a blank line is before it.
function(extract variable page language)
    cmake_parse_arguments(PARSE_ARGV 3 arg "" "AFTER" "")
    file(READ "${page}" text)
    string(FIND "${text}" "${arg_AFTER}" begin)
    string(LENGTH "${arg_AFTER}" length)
    math(EXPR begin "${begin} + ${length}")
    string(SUBSTRING "${text}" ${begin} -1 text)
    if(NOT text MATCHES "\n\n```${language}\n([^`]*)```\n")
        message(FATAL_ERROR "${page} has no block of ${language}")
    endif()
    set(${variable}
        "${CMAKE_MATCH_1}"
        PARENT_SCOPE)
endfunction()

extract(program "${PAGE}" cpp AFTER "${SECTION}")
extract(printed "${PAGE}" "" AFTER "\n```cpp\n${program}```")
extract(project "${PROJECT_PAGE}" cmake AFTER "${SECTION}")
extract(commands "${PROJECT_PAGE}" sh AFTER "${project}")
if(EXAMPLE)
    file(READ "${EXAMPLE}" example)
    string(REGEX REPLACE "^(//[^\n]*\n|\n)+" "" example "${example}")
    if(NOT program STREQUAL example)
        message(FATAL_ERROR "${PAGE} doesn't show ${EXAMPLE} as it is.")
    endif()
endif()

file(REMOVE_RECURSE "${SCRATCH}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${SCRATCH}/installed"
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(WRITE "${SCRATCH}/main.cpp" "${program}")
file(WRITE "${SCRATCH}/CMakeLists.txt" "${project}")
set(ENV{CMAKE_PREFIX_PATH} "${SCRATCH}/installed")
set(ENV{CMAKE_GENERATOR} Ninja)
set(ENV{CXX} "${CXX}")
execute_process(
    COMMAND sh -ec "${commands}"
    WORKING_DIRECTORY "${SCRATCH}"
    OUTPUT_VARIABLE output
    COMMAND_ERROR_IS_FATAL ANY)
string(LENGTH "${output}" begin)
string(LENGTH "${printed}" length)
math(EXPR begin "${begin} - ${length}")
string(SUBSTRING "${output}" ${begin} -1 end)
if(NOT end STREQUAL printed)
    message(FATAL_ERROR "${PAGE} promises\n${printed}\nbut its commands print\n${output}")
endif()
