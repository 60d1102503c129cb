# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Each of LIBRARIES (separated by commas) exports nothing but the project's own names, and needs
# nothing that prints or ends the process. Which weak symbols templates leave is the compiler's
# choice; all others are those that the file EXPECTED lists. With UPDATE set it is written anew.

cmake_minimum_required(VERSION 3.25)

function(list_symbols out library)
    execute_process(
        COMMAND "${NM}" --dynamic --demangle ${ARGN} "${library}"
        OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE ";" "," text "${text}")
    string(REGEX REPLACE "\n$" "" text "${text}")
    string(REPLACE "\n" ";" lines "${text}")
    set(${out} "${lines}" PARENT_SCOPE)
endfunction()

string(REPLACE "," ";" LIBRARIES "${LIBRARIES}")
set(faults "")
set(found "")
foreach(library IN LISTS LIBRARIES)
    get_filename_component(name "${library}" NAME_WE)
    list_symbols(defined "${library}" --defined-only)
    set(own 0)
    foreach(line IN LISTS defined)
        if(NOT line MATCHES "^[0-9a-f]+ ([A-Za-z]) (.*)$")
            list(APPEND faults "${library}: can't read ${line}")
            continue()
        endif()
        set(kind "${CMAKE_MATCH_1}")
        set(symbol "${CMAKE_MATCH_2}")
        if(symbol MATCHES "velmora::|BaseException")
            math(EXPR own "${own} + 1")
            # Compilers differ on whether a class's run-time type is weak.
            if(symbol MATCHES "^(vtable|typeinfo) for [^<]*$"
               OR (NOT kind MATCHES "[WVu]" AND NOT symbol MATCHES "^typeinfo name for "))
                list(APPEND found "${name}: ${symbol}")
            endif()
        elseif(NOT kind MATCHES "[WVu]")
            list(APPEND faults "${library} shows ${symbol}")
        endif()
    endforeach()
    if(own EQUAL 0)
        list(APPEND faults "${library} shows nothing of its own")
    endif()

    list_symbols(needed "${library}" --undefined-only)
    if(needed STREQUAL "")
        list(APPEND faults "${library}: no needed symbols found")
    endif()
    foreach(line IN LISTS needed)
        if(line MATCHES " (std::(cout|cerr|clog)|(v?f?printf|f?puts|putchar|perror|abort|_?exit))(@|$)")
            list(APPEND faults "${library} needs${line}")
        endif()
    endforeach()
endforeach()

list(SORT found)
list(REMOVE_DUPLICATES found)
if(UPDATE AND NOT faults)
    list(JOIN found "\n" text)
    file(WRITE "${EXPECTED}" "${text}\n")
endif()
file(STRINGS "${EXPECTED}" expected)
foreach(symbol IN LISTS found)
    if(NOT symbol IN_LIST expected)
        list(APPEND faults "new ${symbol}")
    endif()
endforeach()
foreach(symbol IN LISTS expected)
    if(NOT symbol IN_LIST found)
        list(APPEND faults "gone ${symbol}")
    endif()
endforeach()

if(faults)
    list(JOIN faults "\n  " text)
    message(
        FATAL_ERROR "\n  ${text}\n\n  Type ./dev abi --update if symbols are meant to come or go.")
endif()
