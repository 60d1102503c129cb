# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Compares the first C++ block of README with the file EXAMPLE, but for its two licence lines.

file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
string(REGEX REPLACE "^//[^\n]*\n//[^\n]*\n\n" "" example "${example}")
string(FIND "${readme}" "```cpp\n${example}```\n" position)
if(example STREQUAL "" OR position EQUAL -1)
    message(FATAL_ERROR "${README} doesn't show ${EXAMPLE} as it is.")
endif()
