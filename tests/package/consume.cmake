# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Builds and runs the outside project CONSUMER with each of COMPILERS (separated by commas).
# MODE shared: against the build tree BUILD_DIR, installed below SCRATCH.
# MODE static: against static libraries built from SOURCE_DIR by GENERATE, and installed.
# MODE fetched: with the libraries built along by FetchContent.
# Installed ones are also used through pkg-config, and all their headers are included in one more
# source: they need no header that is not installed, and define nothing twice.

cmake_minimum_required(VERSION 3.25)

set(warnings -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
string(REPLACE "," ";" COMPILERS "${COMPILERS}")
list(GET COMPILERS 0 own_compiler)
set(prefix "${SCRATCH}/prefix")
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")

function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY COMMAND_ECHO STDOUT)
endfunction()

# configure_consumer(<folder> <compiler> <argument>...)
macro(configure_consumer folder compiler)
    run("${CMAKE_COMMAND}" -G Ninja -S "${CONSUMER}" -B "${SCRATCH}/${folder}"
        "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${compiler}" ${ARGN})
endmacro()

# build_and_run_consumers(<build folder>)
function(build_and_run_consumers folder)
    run("${CMAKE_COMMAND}" --build "${folder}")
    run("${folder}/consumer")
    run("${folder}/delivery_consumer")
    run("${folder}/storage_consumer" "${folder}/plant.json")
    run("${folder}/exchange_consumer")
    run("${folder}/nats_consumer")
    run("${folder}/inspector_consumer")
endfunction()

# expect_refusal(<regular expression> <find_package argument>...): the package isn't found, and the
# error says why.
function(expect_refusal reason)
    list(JOIN ARGN " " request)
    file(WRITE "${SCRATCH}/refused/CMakeLists.txt"
         "cmake_minimum_required(VERSION 3.25)\nproject(refused LANGUAGES CXX)\n"
         "find_package(Velmora ${request})\n")
    execute_process(
        COMMAND "${CMAKE_COMMAND}" -G Ninja -S "${SCRATCH}/refused" -B "${SCRATCH}/refused/build"
                "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${own_compiler}"
        RESULT_VARIABLE status
        OUTPUT_QUIET
        ERROR_VARIABLE text)
    string(REGEX REPLACE "[ \n]+" " " text "${text}")
    if(status EQUAL 0 OR NOT text MATCHES "${reason}")
        message(FATAL_ERROR "find_package(Velmora ${request}) said: ${text}")
    endif()
endfunction()

file(REMOVE_RECURSE "${SCRATCH}")
if(MODE STREQUAL "fetched")
    foreach(compiler IN LISTS COMPILERS)
        get_filename_component(name "${compiler}" NAME)
        configure_consumer("${name}" "${compiler}" -DCONSUMER_FETCHES=ON
                           "-DFETCHCONTENT_SOURCE_DIR_VELMORA=${SOURCE_DIR}"
                           -DCMAKE_BUILD_TYPE=Release ${GENERATE})
        build_and_run_consumers("${SCRATCH}/${name}")
    endforeach()
    return()
endif()

if(MODE STREQUAL "static")
    set(BUILD_DIR "${SCRATCH}/libraries")
    run("${CMAKE_COMMAND}" -G Ninja -S "${SOURCE_DIR}" -B "${BUILD_DIR}" -DBUILD_SHARED_LIBS=OFF
        -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_COMPILER=${own_compiler}"
        "-DCMAKE_INSTALL_LIBDIR=${LIBDIR}" -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_TOOLS=OFF
        -DVELMORA_BUILD_EXAMPLES=OFF -DVELMORA_PYTHON=OFF ${GENERATE})
    run("${CMAKE_COMMAND}" --build "${BUILD_DIR}")
endif()
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")

execute_process(
    COMMAND pkg-config --cflags --libs velmora-storage
    OUTPUT_VARIABLE flags
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
file(GLOB_RECURSE headers RELATIVE "${prefix}/include" "${prefix}/include/*.h")
list(TRANSFORM headers REPLACE "(.+)" "#include \"\\1\"\n")
string(CONCAT includes ${headers})
file(WRITE "${SCRATCH}/headers.cpp" "${includes}")
foreach(compiler IN LISTS COMPILERS)
    get_filename_component(name "${compiler}" NAME)
    configure_consumer("${name}" "${compiler}")
    build_and_run_consumers("${SCRATCH}/${name}")
    # The host's own folder comes last: the library's short form must not hide its headers.
    run("${compiler}" -std=c++20 ${warnings} "${CONSUMER}/consumer.cpp" "${SCRATCH}/headers.cpp"
        -o "${SCRATCH}/${name}/by_pkg_config" ${flags} "-I${CONSUMER}/include"
        "-Wl,-rpath,${prefix}/${LIBDIR}")
    run("${SCRATCH}/${name}/by_pkg_config")
endforeach()
expect_refusal("has no component 'tesaryn'" 1 REQUIRED COMPONENTS tesaryn)
expect_refusal("compatible with requested version \"2\"" 2 REQUIRED)
