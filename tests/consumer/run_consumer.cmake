# Driver of the package test (cmake -P). Installs OLHS_BUILD_DIR into a fresh prefix under
# the system temporary directory, checks the installed layout, then builds and runs the
# host program of CONSUMER_SOURCE_DIR through find_package and through pkg-config.
# The scratch directory is removed when every step passed and kept for inspection otherwise.
cmake_minimum_required(VERSION 3.25)

foreach(var OLHS_BUILD_DIR OLHS_VERSION OLHS_VERSION_MAJOR OLHS_HEADERS_DIR OLHS_LIBDIR
            CONSUMER_SOURCE_DIR CONSUMER_GENERATOR CONSUMER_CXX)
  if("${${var}}" STREQUAL "")
    message(FATAL_ERROR "run_consumer.cmake: ${var} is not set")
  endif()
endforeach()

# --- scratch directory ------------------------------------------------------------------
if(DEFINED ENV{TMPDIR} AND IS_DIRECTORY "$ENV{TMPDIR}")
  set(tmp_base "$ENV{TMPDIR}")
else()
  set(tmp_base "/tmp")
endif()
foreach(attempt RANGE 100)
  string(RANDOM LENGTH 10 ALPHABET "abcdefghijklmnopqrstuvwxyz0123456789" tag)
  set(scratch "${tmp_base}/olhs-consumer-${tag}")
  if(NOT EXISTS "${scratch}")
    break()
  endif()
endforeach()
file(MAKE_DIRECTORY "${scratch}")
set(prefix "${scratch}/prefix")
message(STATUS "scratch directory: ${scratch}")

function(fail)
  string(JOIN "" text ${ARGN})
  message(FATAL_ERROR "${text}\n(scratch directory kept: ${scratch})")
endfunction()

# Runs a command; fails the test with its output unless it exits 0. The output is left
# in ${out_var} when one is given with OUTPUT_VARIABLE.
function(run_step what)
  cmake_parse_arguments(PARSE_ARGV 1 step "" "OUTPUT_VARIABLE;WORKING_DIRECTORY" "COMMAND")
  if(NOT step_WORKING_DIRECTORY)
    set(step_WORKING_DIRECTORY "${scratch}")
  endif()
  execute_process(COMMAND ${step_COMMAND}
    WORKING_DIRECTORY "${step_WORKING_DIRECTORY}"
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(JOIN " " shown ${step_COMMAND})
    fail("${what} failed (${rc}):\n  ${shown}\n--- stdout ---\n${out}\n--- stderr ---\n${err}")
  endif()
  message(STATUS "${what}: ok")
  if(step_OUTPUT_VARIABLE)
    set(${step_OUTPUT_VARIABLE} "${out}" PARENT_SCOPE)
  endif()
endfunction()

# --- install ----------------------------------------------------------------------------
set(install_cmd "${CMAKE_COMMAND}" --install "${OLHS_BUILD_DIR}" --prefix "${prefix}")
if(OLHS_CONFIG)
  list(APPEND install_cmd --config "${OLHS_CONFIG}")
endif()
run_step("install into ${prefix}" COMMAND ${install_cmd})

# --- installed layout -------------------------------------------------------------------
set(libdir "${prefix}/${OLHS_LIBDIR}")
set(real_name "libolhs.so.${OLHS_VERSION}")
set(soname "libolhs.so.${OLHS_VERSION_MAJOR}")
if(NOT EXISTS "${libdir}/${real_name}" OR IS_SYMLINK "${libdir}/${real_name}")
  fail("${libdir}/${real_name} is missing or not a regular file")
endif()
foreach(link_and_target "libolhs.so=${soname}" "${soname}=${real_name}")
  string(REPLACE "=" ";" pair "${link_and_target}")
  list(GET pair 0 link)
  list(GET pair 1 expected)
  if(NOT IS_SYMLINK "${libdir}/${link}")
    fail("${libdir}/${link} is not a symbolic link")
  endif()
  file(READ_SYMLINK "${libdir}/${link}" target)
  if(NOT target STREQUAL expected)
    fail("${libdir}/${link} points to '${target}', expected '${expected}'")
  endif()
endforeach()
message(STATUS "library and version links: ok")

if(READELF)
  run_step("readelf" COMMAND "${READELF}" -d "${libdir}/${real_name}" OUTPUT_VARIABLE dynamic)
  if(NOT dynamic MATCHES "\\(SONAME\\)[^\n]*\\[${soname}\\]")
    fail("SONAME of ${real_name} is not ${soname}:\n${dynamic}")
  endif()
  message(STATUS "SONAME ${soname}: ok")
endif()

file(GLOB source_headers RELATIVE "${OLHS_HEADERS_DIR}" "${OLHS_HEADERS_DIR}/*.h")
file(GLOB installed_headers RELATIVE "${prefix}/include/olhs" "${prefix}/include/olhs/*")
list(SORT source_headers)
list(SORT installed_headers)
if(NOT source_headers OR NOT source_headers STREQUAL installed_headers)
  fail("installed headers differ from the public ones:\n  public: ${source_headers}\n"
       "  installed: ${installed_headers}")
endif()
message(STATUS "public headers: ok")

file(GLOB_RECURSE config_files "${prefix}/*/olhsConfig.cmake")
list(LENGTH config_files config_count)
if(NOT config_count EQUAL 1)
  fail("expected one olhsConfig.cmake under ${prefix}, found: ${config_files}")
endif()
get_filename_component(package_dir "${config_files}" DIRECTORY)
foreach(required olhsConfigVersion.cmake olhsTargets.cmake)
  if(NOT EXISTS "${package_dir}/${required}")
    fail("${package_dir}/${required} is missing")
  endif()
endforeach()
# Nothing of the build tree may reach the installed package: no warning flags, no build
# definitions, no paths into the source or build directories.
file(GLOB target_files "${package_dir}/olhsTargets*.cmake")
get_filename_component(source_root "${OLHS_HEADERS_DIR}/../.." ABSOLUTE)
foreach(file IN LISTS target_files)
  file(READ "${file}" text)
  foreach(leak olhs_warnings OLHS_BUILDING_LIBRARY -Wall -Werror olhs_objects "${source_root}" "${OLHS_BUILD_DIR}")
    string(FIND "${text}" "${leak}" at)
    if(NOT at EQUAL -1)
      fail("${file} mentions '${leak}', which belongs to the build tree only")
    endif()
  endforeach()
endforeach()
message(STATUS "exported targets are clean: ok")

# --- host project through find_package --------------------------------------------------
set(consumer_args
  -G "${CONSUMER_GENERATOR}"
  "-DCMAKE_CXX_COMPILER=${CONSUMER_CXX}"
  "-DCMAKE_CXX_FLAGS=${CONSUMER_CXX_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${CONSUMER_LINKER_FLAGS}"
  "-DCMAKE_PREFIX_PATH=${prefix}"
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
  -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF)
if(CONSUMER_MAKE_PROGRAM)
  list(APPEND consumer_args "-DCMAKE_MAKE_PROGRAM=${CONSUMER_MAKE_PROGRAM}")
endif()
if(OLHS_CONFIG)
  list(APPEND consumer_args "-DCMAKE_BUILD_TYPE=${OLHS_CONFIG}")
endif()

set(cmake_build "${scratch}/cmake-build")
run_step("configure host project (find_package)"
  COMMAND "${CMAKE_COMMAND}" -S "${CONSUMER_SOURCE_DIR}" -B "${cmake_build}" ${consumer_args})
file(STRINGS "${cmake_build}/CMakeCache.txt" found_dir REGEX "^olhs_DIR:")
string(REGEX REPLACE "^olhs_DIR:[A-Z]+=" "" found_dir "${found_dir}")
get_filename_component(found_dir "${found_dir}" REALPATH)
get_filename_component(package_real "${package_dir}" REALPATH)
if(NOT found_dir STREQUAL package_real)
  fail("find_package(olhs) used '${found_dir}', not the package installed in ${package_dir}")
endif()
run_step("build host project (find_package)" COMMAND "${CMAKE_COMMAND}" --build "${cmake_build}")
run_step("run host (find_package)" COMMAND "${cmake_build}/consumer" OUTPUT_VARIABLE out)
message(STATUS "  ${out}")

# A request for the next major version must be refused.
math(EXPR next_major "${OLHS_VERSION_MAJOR} + 1")
execute_process(
  COMMAND "${CMAKE_COMMAND}" -S "${CONSUMER_SOURCE_DIR}" -B "${scratch}/cmake-next-major" ${consumer_args}
          "-DOLHS_CONSUMER_REQUEST=${next_major}.0"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(rc EQUAL 0 OR NOT "${out}${err}" MATCHES "version: ${OLHS_VERSION}")
  fail("find_package(olhs ${next_major}.0) should be refused by the version file:\n${out}\n${err}")
endif()
message(STATUS "find_package(olhs ${next_major}.0) refused: ok")

# --- host project against the build tree ------------------------------------------------
set(tree_build "${scratch}/cmake-build-tree")
list(FILTER consumer_args EXCLUDE REGEX "^-DCMAKE_PREFIX_PATH=")
run_step("configure host project (build tree)"
  COMMAND "${CMAKE_COMMAND}" -S "${CONSUMER_SOURCE_DIR}" -B "${tree_build}" ${consumer_args}
          "-Dolhs_DIR=${OLHS_BUILD_DIR}")
run_step("build host project (build tree)" COMMAND "${CMAKE_COMMAND}" --build "${tree_build}")
run_step("run host (build tree)" COMMAND "${tree_build}/consumer" OUTPUT_VARIABLE out)
message(STATUS "  ${out}")

# --- host program through pkg-config ----------------------------------------------------
if(NOT PKG_CONFIG)
  message(STATUS "pkg-config not available: that half is skipped")
else()
  file(GLOB_RECURSE pc_files "${prefix}/*/olhs.pc")
  list(LENGTH pc_files pc_count)
  if(NOT pc_count EQUAL 1)
    fail("expected one olhs.pc under ${prefix}, found: ${pc_files}")
  endif()
  get_filename_component(pc_dir "${pc_files}" DIRECTORY)
  # Only the scratch package is visible, whatever the machine has installed.
  set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
  set(ENV{PKG_CONFIG_LIBDIR} "${pc_dir}")

  run_step("pkg-config --modversion" COMMAND "${PKG_CONFIG}" --modversion olhs OUTPUT_VARIABLE pc_version)
  string(STRIP "${pc_version}" pc_version)
  if(NOT pc_version STREQUAL OLHS_VERSION)
    fail("pkg-config reports version '${pc_version}', expected '${OLHS_VERSION}'")
  endif()
  run_step("pkg-config libdir" COMMAND "${PKG_CONFIG}" --variable=libdir olhs OUTPUT_VARIABLE pc_libdir)
  string(STRIP "${pc_libdir}" pc_libdir)
  get_filename_component(pc_libdir_real "${pc_libdir}" REALPATH)
  get_filename_component(libdir_real "${libdir}" REALPATH)
  if(NOT pc_libdir_real STREQUAL libdir_real)
    fail("pkg-config libdir '${pc_libdir}' is not the installed ${libdir}")
  endif()
  run_step("pkg-config --cflags --libs" COMMAND "${PKG_CONFIG}" --cflags --libs olhs OUTPUT_VARIABLE pc_flags)
  string(STRIP "${pc_flags}" pc_flags)
  separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
  separate_arguments(extra_cxx UNIX_COMMAND "${CONSUMER_CXX_FLAGS}")
  separate_arguments(extra_ld UNIX_COMMAND "${CONSUMER_LINKER_FLAGS}")

  set(pc_exe "${scratch}/consumer-pkg-config")
  run_step("build host (pkg-config)"
    COMMAND "${CONSUMER_CXX}" -std=c++17 -Wall -Wextra -Wpedantic -Werror ${extra_cxx}
            "${CONSUMER_SOURCE_DIR}/main.cpp" ${pc_flags} ${extra_ld} "-Wl,-rpath,${pc_libdir}"
            -o "${pc_exe}")
  run_step("run host (pkg-config)" COMMAND "${pc_exe}" OUTPUT_VARIABLE out)
  message(STATUS "  ${out}")
endif()

file(REMOVE_RECURSE "${scratch}")
message(STATUS "package test passed")
