# Install rules: the shared library with its SONAME links, the public headers, a CMake
# package (find_package(olhs CONFIG) -> olhs::olhs) and a pkg-config file.
#
# Both package files are relocatable: they locate the prefix from where they were
# installed, so `cmake --install <build> --prefix <anywhere>` gives a usable package.

include(CMakePackageConfigHelpers)

set(OLHS_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/olhs"
    CACHE STRING "Where the CMake package files are installed, relative to the prefix")
set(OLHS_INSTALL_PKGCONFIGDIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    CACHE STRING "Where olhs.pc is installed, relative to the prefix")
mark_as_advanced(OLHS_INSTALL_CMAKEDIR OLHS_INSTALL_PKGCONFIGDIR)

install(TARGETS olhs
  EXPORT olhsTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    COMPONENT olhs_Runtime
    NAMELINK_COMPONENT olhs_Development
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    COMPONENT olhs_Development
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
    COMPONENT olhs_Runtime)

install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/olhs"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  COMPONENT olhs_Development
  FILES_MATCHING PATTERN "*.h")

install(EXPORT olhsTargets
  NAMESPACE olhs::
  FILE olhsTargets.cmake
  DESTINATION "${OLHS_INSTALL_CMAKEDIR}"
  COMPONENT olhs_Development)

# The build tree is a package as well: find_package(olhs) with olhs_DIR set to the build
# directory uses the library where it was built, with the headers of the source tree.
export(EXPORT olhsTargets
  NAMESPACE olhs::
  FILE "${PROJECT_BINARY_DIR}/olhsTargets.cmake")

configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/olhsConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/olhsConfig.cmake"
  INSTALL_DESTINATION "${OLHS_INSTALL_CMAKEDIR}")
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/olhsConfigVersion.cmake"
  VERSION "${PROJECT_VERSION}"
  COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/olhsConfig.cmake"
    "${PROJECT_BINARY_DIR}/olhsConfigVersion.cmake"
  DESTINATION "${OLHS_INSTALL_CMAKEDIR}"
  COMPONENT olhs_Development)

# pkg-config: the prefix is found relative to the directory of olhs.pc (${pcfiledir}), so
# the file stays right whatever --prefix or DESTDIR the install is given. Absolute
# directories, if someone configures them, are written as they are.
if(IS_ABSOLUTE "${OLHS_INSTALL_PKGCONFIGDIR}")
  set(OLHS_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH _olhs_pc_up "/${OLHS_INSTALL_PKGCONFIGDIR}" "/")
  string(REGEX REPLACE "/$" "" _olhs_pc_up "${_olhs_pc_up}")
  set(OLHS_PC_PREFIX "\${pcfiledir}/${_olhs_pc_up}")
  unset(_olhs_pc_up)
endif()
foreach(_olhs_kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${_olhs_kind}}")
    set(OLHS_PC_${_olhs_kind} "${CMAKE_INSTALL_${_olhs_kind}}")
  else()
    set(OLHS_PC_${_olhs_kind} "\${prefix}/${CMAKE_INSTALL_${_olhs_kind}}")
  endif()
endforeach()
unset(_olhs_kind)
configure_file("${CMAKE_CURRENT_LIST_DIR}/olhs.pc.in" "${PROJECT_BINARY_DIR}/olhs.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/olhs.pc"
  DESTINATION "${OLHS_INSTALL_PKGCONFIGDIR}"
  COMPONENT olhs_Development)
