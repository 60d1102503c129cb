# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Writes OUTPUT, the header with the commit of SOURCE_DIR, unless it is up to date. ARCHIVE_COMMIT has
# the commit of an exported archive. Without either the commit is "".

cmake_minimum_required(VERSION 3.25)

file(STRINGS "${ARCHIVE_COMMIT}" commit REGEX "^[0-9a-f]+$")
string(SUBSTRING "${commit}" 0 8 commit)
# A repository that merely contains the sources is ignored.
if(commit STREQUAL "" AND EXISTS "${SOURCE_DIR}/.git")
    execute_process(
        COMMAND git --no-optional-locks -C "${SOURCE_DIR}" describe --always --dirty --abbrev=8
                --exclude=*
        OUTPUT_VARIABLE commit
        OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
file(CONFIGURE OUTPUT "${OUTPUT}" CONTENT "#define TESSARYN_COMMIT \"@commit@\"\n" @ONLY)
