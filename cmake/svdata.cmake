# The computational library, as other programs get it: arrays and data files in one, static and shared, with a
# CMake package and a pkg-config file.

include(CMakePackageConfigHelpers)

function(svdata_library target type exported)
    add_library(${target} ${type} $<TARGET_OBJECTS:sv_kernels> $<TARGET_OBJECTS:sv_arrays> $<TARGET_OBJECTS:sv_datafile>)
    set_target_properties(${target} PROPERTIES
        OUTPUT_NAME svdata EXPORT_NAME ${exported} LINKER_LANGUAGE CXX
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    target_compile_features(${target} INTERFACE cxx_std_17)
    target_include_directories(${target} INTERFACE
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/svdata>)
endfunction()

svdata_library(svdata STATIC static)
svdata_library(svdata_shared SHARED shared)
add_library(svdata::svdata ALIAS svdata)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/svdata)
install(TARGETS svdata svdata_shared EXPORT svdata-targets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT svdata
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT svdata)
install(EXPORT svdata-targets NAMESPACE svdata:: DESTINATION ${package_folder} COMPONENT svdata)

# The headers keep their paths, so that they include each other as they do in the tree. Internal headers are not
# installed.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/arrays/sv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/svdata/arrays
    COMPONENT svdata FILES_MATCHING PATTERN "*.h"
    PATTERN "*Internal.h" EXCLUDE)
set(public_headers
    SVByteSwap.h SVDataFile.h SVDataStorage.h SVFile.h SVMatlabDataFile.h SVVariableType.h SVVariableValue.h
    SVVariableWriter.h)
list(TRANSFORM public_headers PREPEND ${PROJECT_SOURCE_DIR}/src/datafile/)
install(FILES ${public_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/svdata/datafile COMPONENT svdata)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/svdata-config.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/svdata-config.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/svdata-config-version.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/svdata-config.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/svdata-config-version.cmake
    DESTINATION ${package_folder} COMPONENT svdata)

# Paths relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/svdata.pc.in ${CMAKE_CURRENT_BINARY_DIR}/svdata.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/svdata.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT svdata)
