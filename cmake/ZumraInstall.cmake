# What `cmake --install` puts down: headers, libraries, the check program, the CMake package and the pkg-config files.
include(CMakePackageConfigHelpers)

set(ZUMRA_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/Zumra")

# An installed library, known to other projects as Zumra::<face>, with a pkg-config file of the library's name.
function(zumra_install_library name face)
    cmake_parse_arguments(arg "" "DESCRIPTION;REQUIRES" "" ${ARGN})
    if(NOT TARGET ${name})
        return()
    endif()
    set_target_properties(${name} PROPERTIES EXPORT_NAME ${face})
    install(TARGETS ${name} EXPORT ZumraTargets LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
    # The prefix is found from the file's own place, so that an installed tree may be moved.
    file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    set(ZUMRA_PC_PREFIX "\${pcfiledir}/${up}")
    set(ZUMRA_PC_NAME ${name})
    set(ZUMRA_PC_DESCRIPTION "${arg_DESCRIPTION}")
    set(ZUMRA_PC_REQUIRES "${arg_REQUIRES}")
    configure_file("${CMAKE_SOURCE_DIR}/packaging/zumra.pc.in" "${CMAKE_BINARY_DIR}/packaging/${name}.pc" @ONLY)
    install(FILES "${CMAKE_BINARY_DIR}/packaging/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()

zumra_install_library(zumra core DESCRIPTION "Settings documents and synchronisation")
zumra_install_library(zumra-settings settings DESCRIPTION "Settings client, store and protocol" REQUIRES zumra)
zumra_install_library(zumra-check check DESCRIPTION "Frame and assertions for check programs")

install(DIRECTORY include/zumra DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
if(TARGET zumra-settings-checks)
    install(TARGETS zumra-settings-checks RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

install(EXPORT ZumraTargets NAMESPACE Zumra:: DESTINATION "${ZUMRA_CMAKE_DIR}")
configure_package_config_file(packaging/ZumraConfig.cmake.in "${CMAKE_BINARY_DIR}/packaging/ZumraConfig.cmake"
                              INSTALL_DESTINATION "${ZUMRA_CMAKE_DIR}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/packaging/ZumraConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/packaging/ZumraConfig.cmake" "${CMAKE_BINARY_DIR}/packaging/ZumraConfigVersion.cmake"
        DESTINATION "${ZUMRA_CMAKE_DIR}")
