# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Copies HEADERS (separated by commas) from SOURCE_DIR to OUTPUT_DIR. The copies include each other as
# "velmora/tessaryn/stream.h" in place of "tessaryn/stream.h", so that no header of a host can be
# taken for one of them. A copy that would not change is left alone.

cmake_minimum_required(VERSION 3.25)

string(REPLACE "," ";" HEADERS "${HEADERS}")
foreach(header IN LISTS HEADERS)
    set(copy "${OUTPUT_DIR}/${header}")
    file(READ "${SOURCE_DIR}/${header}" text)
    string(REGEX REPLACE "(#include \")((common|delivery|exchange|inspector|nats|serializer|storage|tessaryn)/)" "\\1velmora/\\2" text
                         "${text}")
    file(WRITE "${copy}.new" "${text}")
    file(COPY_FILE "${copy}.new" "${copy}" ONLY_IF_DIFFERENT)
    file(REMOVE "${copy}.new")
endforeach()
