# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# What find_package(Velmora) and pkg-config read, velmora-tessaryn and a file for each extension.

include(CMakePackageConfigHelpers)

# A shared library keeps to itself what only its sources use; a static one can't.
set(VELMORA_POCO_VERSION 1.11)
set(pc_libs "-lvelmora_tessaryn -lvelmora_serializer -lvelmora_common")
if(BUILD_SHARED_LIBS)
    set(VELMORA_FIND_EXPAT "")
    set(VELMORA_FIND_SQLITE "")
    set(VELMORA_FIND_INSPECTOR "")
    set(pc_storage_libs "")
else()
    set(VELMORA_FIND_EXPAT "find_dependency(EXPAT 2.5)")
    set(VELMORA_FIND_SQLITE "find_dependency(SQLite3 3.40)")
    set(VELMORA_FIND_INSPECTOR
        "find_dependency(Poco ${VELMORA_POCO_VERSION} COMPONENTS Foundation Net)")
    set(pc_storage_libs " -lsqlite3")
    string(APPEND pc_libs " -lexpat")
endif()
string(APPEND pc_libs " -lPocoFoundation")

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Velmora")
configure_package_config_file(
    "${CMAKE_CURRENT_LIST_DIR}/VelmoraConfig.cmake.in" "${PROJECT_BINARY_DIR}/VelmoraConfig.cmake"
    INSTALL_DESTINATION "${package_dir}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VelmoraConfig.cmake"
              "${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake" DESTINATION "${package_dir}")
install(
    EXPORT velmoraTargets
    NAMESPACE velmora::
    DESTINATION "${package_dir}")
get_property(velmora_extensions GLOBAL PROPERTY VELMORA_EXTENSIONS)
foreach(extension IN LISTS velmora_extensions)
    install(
        EXPORT velmora_${extension}Targets
        NAMESPACE velmora::
        DESTINATION "${package_dir}")
endforeach()

# The prefix is found from where the file lies, so that an installed tree can be moved.
file(RELATIVE_PATH pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file("${CMAKE_CURRENT_LIST_DIR}/velmora-tessaryn.pc.in"
               "${PROJECT_BINARY_DIR}/velmora-tessaryn.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/velmora-tessaryn.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
foreach(extension IN LISTS velmora_extensions)
    configure_file("${CMAKE_CURRENT_LIST_DIR}/velmora-${extension}.pc.in"
                   "${PROJECT_BINARY_DIR}/velmora-${extension}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/velmora-${extension}.pc"
            DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endforeach()
