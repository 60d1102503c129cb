# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Writes OUTPUT, the header that names the commit of SOURCE_DIR, and leaves it alone if it does so
# already. An exported archive has its commit in ARCHIVE_COMMIT; where nobody knows it, it is "".

cmake_minimum_required(VERSION 3.25)

file(STRINGS "${ARCHIVE_COMMIT}" commit REGEX "^[0-9a-f]+$")
string(SUBSTRING "${commit}" 0 8 commit)
# A repository around the sources isn't theirs.
if(commit STREQUAL "" AND EXISTS "${SOURCE_DIR}/.git")
    execute_process(
        COMMAND git --no-optional-locks -C "${SOURCE_DIR}" describe --always --dirty --abbrev=8
                --exclude=*
        OUTPUT_VARIABLE commit
        OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
file(CONFIGURE OUTPUT "${OUTPUT}" CONTENT "#define TESSARYN_COMMIT \"@commit@\"\n" @ONLY)
