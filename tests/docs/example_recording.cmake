# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Compares the file RECORDING with what SCRIPT prints.

execute_process(COMMAND "${SCRIPT}" OUTPUT_FILE "${SCRATCH}" COMMAND_ERROR_IS_FATAL ANY)
execute_process(
    COMMAND "${CMAKE_COMMAND}" -E compare_files "${SCRATCH}" "${RECORDING}"
    COMMAND_ERROR_IS_FATAL ANY)
