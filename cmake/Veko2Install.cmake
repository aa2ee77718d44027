# Installs the package: the shared libraries, their headers, and what lets CMake and pkg-config find
# them. Every path in it is relative, so that the installed tree can be moved.
#
# Components: Runtime (the libraries), Development (headers, CMake and pkg-config files), Command
# (the veko2 program, which holds what it needs of them).
include(CMakePackageConfigHelpers)

set(veko2_packageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/Veko2PointCloudEditing)
set(veko2_pkgConfigFolder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS Veko2_Base Veko2_DataLayer Veko2_PointCloudEditing
    EXPORT Veko2PointCloudEditingTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime
        NAMELINK_COMPONENT Development)
install(EXPORT Veko2PointCloudEditingTargets
    NAMESPACE Veko2:: DESTINATION ${veko2_packageFolder} COMPONENT Development)

get_property(headers GLOBAL PROPERTY VEKO2_INSTALLED_HEADERS)
foreach(header IN LISTS headers)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/${header}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/veko2/${folder} COMPONENT Development)
endforeach()

configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/Veko2PointCloudEditingConfig.cmake.in
    ${PROJECT_BINARY_DIR}/Veko2PointCloudEditingConfig.cmake
    INSTALL_DESTINATION ${veko2_packageFolder}
    NO_SET_AND_CHECK_MACRO)
# Before version 1 a minor version may change the interface, and the soname says so too.
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/Veko2PointCloudEditingConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/Veko2PointCloudEditingConfig.cmake
    ${PROJECT_BINARY_DIR}/Veko2PointCloudEditingConfigVersion.cmake
    DESTINATION ${veko2_packageFolder} COMPONENT Development)

# pkg-config knows where its file lies; the prefix is found from there.
file(RELATIVE_PATH veko2_prefixFromPkgConfig
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" veko2_prefixFromPkgConfig "${veko2_prefixFromPkgConfig}")
configure_file(
    ${CMAKE_CURRENT_LIST_DIR}/veko2-point-cloud-editing.pc.in
    ${PROJECT_BINARY_DIR}/veko2-point-cloud-editing.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/veko2-point-cloud-editing.pc
    DESTINATION ${veko2_pkgConfigFolder} COMPONENT Development)

if(TARGET veko2)
    install(TARGETS veko2 RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Command)
endif()
