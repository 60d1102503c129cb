# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

if(VELMORA_HARDEN)
    # Control-flow protection is there on x86 only.
    check_cxx_compiler_flag(-fcf-protection VELMORA_HAS_CF_PROTECTION)
    check_cxx_compiler_flag(-fstack-clash-protection VELMORA_HAS_STACK_CLASH_PROTECTION)
endif()

# velmora_configure_target(<target>): language level, warnings, hardening and sanitizers that
# everything built here shares. All of it is PRIVATE, so that no host inherits a flag.
function(velmora_configure_target target)
    set_target_properties(
        ${target}
        PROPERTIES CXX_STANDARD 20
                   CXX_STANDARD_REQUIRED ON
                   CXX_EXTENSIONS OFF)
    target_compile_options(
        ${target}
        PRIVATE -Wall
                -Wextra
                -Wpedantic
                -Wcast-align
                -Wcast-qual
                -Wconversion
                -Wextra-semi
                -Wformat=2
                -Wnon-virtual-dtor
                -Wold-style-cast
                -Woverloaded-virtual
                $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>
                -Wundef
                -Wunused)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        # GCC 12 sees overlapping copies in operator+(const char*, std::string&&) where none are.
        target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
    if(VELMORA_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    if(VELMORA_HARDEN)
        target_compile_options(
            ${target}
            PRIVATE -fstack-protector-strong
                    $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>
                    $<$<BOOL:${VELMORA_HAS_CF_PROTECTION}>:-fcf-protection>
                    $<$<BOOL:${VELMORA_HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>)
        target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now)
    endif()
    if(VELMORA_SANITIZE)
        target_compile_options(
            ${target} PRIVATE -fsanitize=${VELMORA_SANITIZE} -fno-sanitize-recover=all
                              -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${VELMORA_SANITIZE})
    endif()
endfunction()

# velmora_add_library(<name> [EXTENSION] SOURCES <file>... HEADERS <file>...): the library
# velmora_<name>, known as velmora::<name> in the build tree and when installed. Paths are relative
# to the caller's folder; HEADERS are the public headers, installed under include/velmora/<name>.
# Hosts include them as "velmora/<name>/..." or, shorter, "<name>/...", in the build tree as well.
# An EXTENSION is a library beside the core that an installation may lack: what CMake and pkg-config
# read of it stands in files of its own.
function(velmora_add_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "EXTENSION" "" "SOURCES;HEADERS")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "velmora_add_library(${name}): unknown ${arg_UNPARSED_ARGUMENTS}")
    endif()
    set(target velmora_${name})
    add_library(${target} ${arg_SOURCES})
    add_library(velmora::${name} ALIAS ${target})
    velmora_configure_target(${target})
    set_target_properties(
        ${target}
        PROPERTIES CXX_VISIBILITY_PRESET hidden
                   VISIBILITY_INLINES_HIDDEN ON
                   POSITION_INDEPENDENT_CODE ON
                   DEFINE_SYMBOL ""
                   LINKER_LANGUAGE CXX
                   EXPORT_NAME ${name}
                   INSTALL_RPATH "$ORIGIN"
                   VERSION ${PROJECT_VERSION}
                   SOVERSION ${PROJECT_VERSION_MAJOR})
    target_compile_features(${target} PUBLIC cxx_std_20)
    if(BUILD_SHARED_LIBS)
        target_link_options(${target} PRIVATE -Wl,--no-undefined)
        if(VELMORA_SANITIZE)
            # The sanitizers' run time lives in the program.
            target_link_options(${target} PRIVATE -Wl,-z,undefs)
        else()
            # Nobody replaces the library's functions: its calls of its own go straight there.
            target_compile_options(${target} PRIVATE -fno-semantic-interposition)
            target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
        endif()
    endif()
    set(public_dir "${PROJECT_BINARY_DIR}/include")
    list(TRANSFORM arg_HEADERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/" OUTPUT_VARIABLE headers)
    list(TRANSFORM arg_HEADERS PREPEND "${public_dir}/velmora/${name}/" OUTPUT_VARIABLE copies)
    list(JOIN arg_HEADERS "," names)
    add_custom_command(
        OUTPUT ${copies}
        COMMAND
            "${CMAKE_COMMAND}" "-DHEADERS=${names}" "-DSOURCE_DIR=${CMAKE_CURRENT_SOURCE_DIR}"
            "-DOUTPUT_DIR=${public_dir}/velmora/${name}" -P
            "${PROJECT_SOURCE_DIR}/cmake/VelmoraHeaders.cmake"
        DEPENDS ${headers} "${PROJECT_SOURCE_DIR}/cmake/VelmoraHeaders.cmake"
        COMMENT "Copy the public headers of velmora_${name}"
        VERBATIM)
    add_custom_target(${target}_headers DEPENDS ${copies})
    add_dependencies(${target} ${target}_headers)
    target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${public_dir}" FILES ${copies})
    target_include_directories(
        ${target}
        PRIVATE "${PROJECT_SOURCE_DIR}/src/libs"
        INTERFACE "$<BUILD_INTERFACE:${public_dir}/velmora>"
                  "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>"
                  "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmora>")
    set(export velmoraTargets)
    if(arg_EXTENSION)
        set(export velmora_${name}Targets)
        set_property(GLOBAL APPEND PROPERTY VELMORA_EXTENSIONS ${name})
    endif()
    install(
        TARGETS ${target}
        EXPORT ${export}
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
endfunction()

# velmora_add_test(<name> LABEL <label> SOURCES <file>... [LIBRARIES <target>...]): a GoogleTest
# program whose cases CTest knows one by one, each under the label. It sees internal headers, too.
function(velmora_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL" "SOURCES;LIBRARIES")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "velmora_add_test(${name}): unknown ${arg_UNPARSED_ARGUMENTS}")
    endif()
    add_executable(${name} ${arg_SOURCES})
    velmora_configure_target(${name})
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/src/libs")
    target_link_libraries(${name} PRIVATE velmora_test_support ${arg_LIBRARIES} GTest::gmock_main)
    gtest_discover_tests(
        ${name}
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS "${arg_LABEL}" TIMEOUT 300)
endfunction()
