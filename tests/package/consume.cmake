# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Installs the build tree BUILD_DIR below SCRATCH, then builds and runs the project SOURCE_DIR
# against it: once through find_package, once through pkg-config.

function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY COMMAND_ECHO STDOUT)
endfunction()

file(REMOVE_RECURSE "${SCRATCH}")
set(prefix "${SCRATCH}/prefix")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")

run("${CMAKE_COMMAND}" -G Ninja -S "${SOURCE_DIR}" -B "${SCRATCH}/build"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${CXX}")
run("${CMAKE_COMMAND}" --build "${SCRATCH}/build")
run("${SCRATCH}/build/consumer")

set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
execute_process(
    COMMAND pkg-config --cflags --libs velmora-tessaryn
    OUTPUT_VARIABLE flags
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
run("${CXX}" -std=c++20 "${SOURCE_DIR}/consumer.cpp" -o "${SCRATCH}/by_pkg_config" ${flags}
    "-Wl,-rpath,${prefix}/${LIBDIR}")
run("${SCRATCH}/by_pkg_config")
