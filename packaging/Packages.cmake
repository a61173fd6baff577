# The Debian packages. The names of the components are those of the packages.

# "svdata" is the whole library in one component, for people who install it beside their programs. The packages
# divide the same files.
install(TARGETS svdata_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT trelkind EXCLUDE_FROM_ALL)
install(TARGETS svdata_shared
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libsvdata NAMELINK_SKIP EXCLUDE_FROM_ALL)
install(CODE "
    execute_process(COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET COMMAND \"\${CMAKE_COMMAND}\"
        --install \"${CMAKE_BINARY_DIR}\" --component svdata --prefix \"\${CMAKE_INSTALL_PREFIX}\")
    set(installed \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
    file(GLOB libraries \"\${installed}/${CMAKE_INSTALL_LIBDIR}/libsvdata.so.*\")
    file(REMOVE \${libraries})
    file(REMOVE_RECURSE \"\${installed}/${CMAKE_INSTALL_BINDIR}\")"
    COMPONENT libsvdata-dev EXCLUDE_FROM_ALL)

set(packages trelkind libsvdata libsvdata-dev)
if(TARGET trelkind_desktop)
    list(APPEND packages trelkind-desktop)
endif()
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(debian/changelog.in ${CMAKE_CURRENT_BINARY_DIR}/changelog @ONLY)
made_file(${CMAKE_CURRENT_BINARY_DIR}/changelog.gz ${CMAKE_CURRENT_BINARY_DIR}/changelog COMMAND ${GZIP} -9nc)
foreach(package IN LISTS packages)
    install(FILES debian/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${package} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME trelkind)
set(CPACK_PACKAGE_VENDOR "The Trelkind developers")
set(CPACK_PACKAGE_CONTACT "The Trelkind developers <developers@trelkind.example>")
set(CPACK_PACKAGE_HOMEPAGE_URL https://trelkind.example/)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL ${packages})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE "")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# debian_package(NAME SECTION sentence [more] [FIELD value]...): the fields of a package's control file.
function(debian_package name)
    cmake_parse_arguments(ARG "" "SECTION;SUMMARY;MORE;DEPENDS;RECOMMENDS;SUGGESTS" "" ${ARGN})
    string(TOUPPER ${name} component)
    set(prefix CPACK_DEBIAN_${component}_PACKAGE)
    set(${prefix}_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${component}_DESCRIPTION "${ARG_SUMMARY}\n${ARG_MORE}" PARENT_SCOPE)
    set(CPACK_COMPONENT_${component}_DESCRIPTION "${ARG_SUMMARY}\n${ARG_MORE}" PARENT_SCOPE)
    foreach(field SECTION DEPENDS RECOMMENDS SUGGESTS)
        if(ARG_${field})
            set(${prefix}_${field} "${ARG_${field}}" PARENT_SCOPE)
        endif()
    endforeach()
endfunction()

debian_package(trelkind SECTION science
    SUMMARY "run a program over many input sets"
    MORE "Trelkind runs one compiled program over many input sets, on this computer or on\na cluster, and keeps track of what each run left. This package has the program\nfor a terminal, and the tool svdata, which looks into data files."
    RECOMMENDS openssh-client SUGGESTS "trelkind-desktop")
debian_package(trelkind-desktop SECTION science
    SUMMARY "run a program over many input sets (windows)"
    MORE "Trelkind runs one compiled program over many input sets, on this computer or on\na cluster, and keeps track of what each run left. This package has the program\nwith windows."
    DEPENDS "trelkind (= ${PROJECT_VERSION}), libqt6svg6, hicolor-icon-theme"
    RECOMMENDS "qt6-wayland, qt6-translations-l10n, shared-mime-info" SUGGESTS "qt6-gtk-platformtheme")
debian_package(libsvdata SECTION libs
    SUMMARY "numeric arrays and the data files that hold them"
    MORE "A library for computational programs: arrays of up to three dimensions, and\ndata files that can be read while they are written.")
debian_package(libsvdata-dev SECTION libdevel
    SUMMARY "numeric arrays and the data files that hold them (development)"
    MORE "A library for computational programs: arrays of up to three dimensions, and\ndata files that can be read while they are written. This package has the\nheaders, the static library, and what CMake and pkg-config need."
    DEPENDS "libsvdata (= ${PROJECT_VERSION})")
# CPack's own form of these calls ldconfig in scripts, which Debian has given up for the trigger.
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/shlibs
    "libsvdata ${PROJECT_VERSION_MAJOR} libsvdata (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_LIBSVDATA_PACKAGE_CONTROL_EXTRA
    "${CMAKE_CURRENT_SOURCE_DIR}/debian/triggers;${CMAKE_CURRENT_BINARY_DIR}/shlibs")
set(CPACK_DEBIAN_LIBSVDATA-DEV_PACKAGE_SHLIBDEPS OFF)
include(CPack)
