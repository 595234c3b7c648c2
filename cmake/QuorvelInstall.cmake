# How what is built is installed: in the component `runtime` what a program needs to run, in `tools` what people call, in
# `development` what one needs to build programs. Nothing that is installed knows where: the prefix may be moved.
include_guard(GLOBAL)
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(QUORVEL_TEMPLATES "${CMAKE_CURRENT_LIST_DIR}")

# quorvel_install_library(<package> FILE <file name without lib> HEADERS <folder> [DEPENDS <packages of this repository>]
#                         [FIND <other packages that an installed user must find>])
# The shared library <package>, its headers, its CMake package and its pkg-config file.
function(quorvel_install_library package)
   cmake_parse_arguments(arg "" "FILE;HEADERS" "DEPENDS;FIND" ${ARGN})
   install(TARGETS ${package} EXPORT ${package}Targets
      LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development)
   install(DIRECTORY ${arg_HEADERS} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development FILES_MATCHING PATTERN "*.h")
   quorvel_install_cmake_package(${package} DEPENDS ${arg_DEPENDS} ${arg_FIND})
   quorvel_install_pkg_config(${package} FILE ${arg_FILE} DEPENDS ${arg_DEPENDS})
endfunction()

function(quorvel_install_cmake_package package)
   cmake_parse_arguments(arg "" "" "DEPENDS" ${ARGN})
   list(TRANSFORM arg_DEPENDS REPLACE "(.+)" "find_dependency(\\1)\n" OUTPUT_VARIABLE dependencies)
   list(JOIN dependencies "" dependencies)
   set(generated "${CMAKE_CURRENT_BINARY_DIR}/package")
   set(destination "${CMAKE_INSTALL_LIBDIR}/cmake/${package}")
   configure_package_config_file("${QUORVEL_TEMPLATES}/PackageConfig.cmake.in" "${generated}/${package}Config.cmake"
      INSTALL_DESTINATION "${destination}")
   write_basic_package_version_file("${generated}/${package}ConfigVersion.cmake"
      VERSION ${QUORVEL_VERSION} COMPATIBILITY SameMinorVersion)
   install(FILES "${generated}/${package}Config.cmake" "${generated}/${package}ConfigVersion.cmake"
      DESTINATION "${destination}" COMPONENT development)
   install(EXPORT ${package}Targets NAMESPACE ${package}:: DESTINATION "${destination}" COMPONENT development)
endfunction()

# A file asks for no version of what it requires, like the CMake packages.
function(quorvel_install_pkg_config package)
   cmake_parse_arguments(arg "" "FILE" "DEPENDS" ${ARGN})
   set(destination "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
   cmake_path(ABSOLUTE_PATH destination BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE folder)
   cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY "${folder}" OUTPUT_VARIABLE upwards)
   set(includedir "\${prefix}") # what follows replaces it where it is absolute
   cmake_path(APPEND includedir "${CMAKE_INSTALL_INCLUDEDIR}")
   set(libdir "\${prefix}")
   cmake_path(APPEND libdir "${CMAKE_INSTALL_LIBDIR}")
   list(JOIN arg_DEPENDS " " requires)
   set(generated "${CMAKE_CURRENT_BINARY_DIR}/package/${package}.pc")
   configure_file("${QUORVEL_TEMPLATES}/package.pc.in" "${generated}" @ONLY)
   install(FILES "${generated}" DESTINATION "${destination}" COMPONENT development)
endfunction()

# quorvel_install_program(<target> [<page of section 1>])
function(quorvel_install_program target)
   install(TARGETS ${target} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
   if(ARGN)
      install(FILES ${ARGN} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
   endif()
endfunction()
