# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Runs PROGRAM and compares what it prints with the file EXPECTED.

execute_process(
    COMMAND "${PROGRAM}"
    OUTPUT_VARIABLE actual
    ERROR_VARIABLE errors
    RESULT_VARIABLE status)
if(NOT status STREQUAL "0" OR NOT errors STREQUAL "")
    message(FATAL_ERROR "${PROGRAM} ended with ${status}: ${errors}")
endif()
file(READ "${EXPECTED}" expected)
if(NOT actual STREQUAL expected)
    message(FATAL_ERROR "${PROGRAM} printed\n${actual}\ninstead of\n${expected}")
endif()
