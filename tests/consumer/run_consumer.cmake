# Driver of the package test (cmake -P): installs OLHS_BUILD_DIR into a scratch prefix,
# checks the installed layout, then builds and runs the host program of CONSUMER_SOURCE_DIR
# through find_package, against the build tree and through pkg-config. The scratch
# directory is removed when every step passed and kept for inspection otherwise.
cmake_minimum_required(VERSION 3.25)

string(RANDOM LENGTH 10 ALPHABET "abcdefghijklmnopqrstuvwxyz0123456789" tag)
if(DEFINED ENV{TMPDIR} AND IS_DIRECTORY "$ENV{TMPDIR}")
  set(scratch "$ENV{TMPDIR}/olhs-consumer-${tag}")
else()
  set(scratch "/tmp/olhs-consumer-${tag}")
endif()
set(prefix "${scratch}/prefix")
file(MAKE_DIRECTORY "${scratch}")

function(fail)
  string(JOIN "" text ${ARGN})
  message(FATAL_ERROR "${text}\n(scratch directory kept: ${scratch})")
endfunction()

# Runs the command in ARGN; fails the test with its output unless it exits 0. Leaves its
# standard output in `out`.
function(run_step what)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY "${scratch}" RESULT_VARIABLE rc OUTPUT_VARIABLE out
                  ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(JOIN " " shown ${ARGN})
    fail("${what} failed (${rc}):\n  ${shown}\n--- stdout ---\n${out}\n--- stderr ---\n${err}")
  endif()
  message(STATUS "${what}: ok")
  set(out "${out}" PARENT_SCOPE)
endfunction()

set(config)
if(OLHS_CONFIG)
  set(config --config "${OLHS_CONFIG}")
endif()
run_step("install into ${prefix}" "${CMAKE_COMMAND}" --install "${OLHS_BUILD_DIR}" --prefix "${prefix}" ${config})

# --- installed layout: the library, its version links and soname, the public headers ----
set(libdir "${prefix}/${OLHS_LIBDIR}")
set(real "libolhs.so.${OLHS_VERSION}")
set(soname "libolhs.so.${OLHS_VERSION_MAJOR}")
if(NOT EXISTS "${libdir}/${real}" OR IS_SYMLINK "${libdir}/${real}")
  fail("${libdir}/${real} is missing or not a regular file")
endif()
file(READ_SYMLINK "${libdir}/libolhs.so" dev_link)
file(READ_SYMLINK "${libdir}/${soname}" so_link)
if(NOT dev_link STREQUAL soname OR NOT so_link STREQUAL real)
  fail("libolhs.so -> '${dev_link}' and ${soname} -> '${so_link}', expected ${soname} and ${real}")
endif()
if(READELF)
  run_step("readelf" "${READELF}" -d "${libdir}/${real}")
  if(NOT out MATCHES "\\(SONAME\\)[^\n]*\\[${soname}\\]")
    fail("SONAME of ${real} is not ${soname}:\n${out}")
  endif()
endif()
file(GLOB source_headers RELATIVE "${OLHS_HEADERS_DIR}" "${OLHS_HEADERS_DIR}/*.h")
file(GLOB installed_headers RELATIVE "${prefix}/include/olhs" "${prefix}/include/olhs/*")
if(NOT source_headers OR NOT source_headers STREQUAL installed_headers)
  fail("installed headers differ from the public ones:\n  ${source_headers}\n  ${installed_headers}")
endif()

# --- the host project through find_package, then against the build tree ------------------
set(args -G "${CONSUMER_GENERATOR}" "-DCMAKE_MAKE_PROGRAM=${CONSUMER_MAKE_PROGRAM}" "-DCMAKE_BUILD_TYPE=${OLHS_CONFIG}"
    "-DCMAKE_CXX_COMPILER=${CONSUMER_CXX}" "-DCMAKE_CXX_FLAGS=${CONSUMER_CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${CONSUMER_LINKER_FLAGS}" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
    -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF)
function(host name)
  run_step("configure host (${name})" "${CMAKE_COMMAND}" -S "${CONSUMER_SOURCE_DIR}" -B "${scratch}/${name}" ${args} ${ARGN})
  run_step("build host (${name})" "${CMAKE_COMMAND}" --build "${scratch}/${name}")
  run_step("run host (${name})" "${scratch}/${name}/consumer")
  message(STATUS "  ${out}")
endfunction()

host(find_package "-DCMAKE_PREFIX_PATH=${prefix}")
file(STRINGS "${scratch}/find_package/CMakeCache.txt" package_dir REGEX "^olhs_DIR:")
string(REGEX REPLACE "^olhs_DIR:[A-Z]+=" "" package_dir "${package_dir}")
file(REAL_PATH "${package_dir}" package_dir)
file(REAL_PATH "${prefix}" real_prefix)
if(NOT package_dir MATCHES "^${real_prefix}/")
  fail("find_package(olhs) used '${package_dir}', not the package installed in ${prefix}")
endif()
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
host(build_tree "-Dolhs_DIR=${OLHS_BUILD_DIR}")

# A request for the next major version must be refused by the version file.
math(EXPR next_major "${OLHS_VERSION_MAJOR} + 1")
execute_process(COMMAND "${CMAKE_COMMAND}" -S "${CONSUMER_SOURCE_DIR}" -B "${scratch}/next-major" ${args}
                        "-DCMAKE_PREFIX_PATH=${prefix}" "-DOLHS_CONSUMER_REQUEST=${next_major}.0"
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(rc EQUAL 0 OR NOT "${out}${err}" MATCHES "version: ${OLHS_VERSION}")
  fail("find_package(olhs ${next_major}.0) should be refused by the version file:\n${out}\n${err}")
endif()

# --- the host program through pkg-config, which sees only the scratch package ------------
if(PKG_CONFIG)
  file(GLOB_RECURSE pc_file "${prefix}/*/olhs.pc")
  get_filename_component(pc_dir "${pc_file}" DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
  set(ENV{PKG_CONFIG_LIBDIR} "${pc_dir}")
  run_step("pkg-config --modversion" "${PKG_CONFIG}" --modversion olhs)
  string(STRIP "${out}" pc_version)
  if(NOT pc_version STREQUAL OLHS_VERSION)
    fail("pkg-config reports version '${pc_version}', expected '${OLHS_VERSION}'")
  endif()
  run_step("pkg-config --cflags --libs" "${PKG_CONFIG}" --cflags --libs olhs)
  separate_arguments(pc_flags UNIX_COMMAND "${out}")
  separate_arguments(extra_cxx UNIX_COMMAND "${CONSUMER_CXX_FLAGS}")
  separate_arguments(extra_ld UNIX_COMMAND "${CONSUMER_LINKER_FLAGS}")
  # A wrong libdir in the package fails the link.
  run_step("build host (pkg-config)" "${CONSUMER_CXX}" -std=c++17 -Wall -Wextra -Wpedantic -Werror ${extra_cxx}
           "${CONSUMER_SOURCE_DIR}/main.cpp" ${pc_flags} ${extra_ld} "-Wl,-rpath,${libdir}" -o "${scratch}/consumer-pkg-config")
  run_step("run host (pkg-config)" "${scratch}/consumer-pkg-config")
  message(STATUS "  ${out}")
else()
  message(STATUS "pkg-config not available: that half is skipped")
endif()

file(REMOVE_RECURSE "${scratch}")
message(STATUS "package test passed")
