# Driver of the build-options test (cmake -P): configures the source tree as a new user
# or a host project would, into scratch directories, and checks what the configure chose.
# Configure only; the workflows build the real tree.
cmake_minimum_required(VERSION 3.25)

string(RANDOM LENGTH 10 ALPHABET "abcdefghijklmnopqrstuvwxyz0123456789" tag)
if(DEFINED ENV{TMPDIR} AND IS_DIRECTORY "$ENV{TMPDIR}")
  set(scratch "$ENV{TMPDIR}/olhs-options-${tag}")
else()
  set(scratch "/tmp/olhs-options-${tag}")
endif()
file(MAKE_DIRECTORY "${scratch}/empty-root")
# Packages are looked for in an empty root only, so that none of the machine's is found.
set(no_packages "-DCMAKE_FIND_ROOT_PATH=${scratch}/empty-root" -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY)
set(nothing_optional -DOLHS_BUILD_TESTS=OFF -DOLHS_BUILD_BENCHMARKS=OFF -DOLHS_BUILD_CLI=OFF -DOLHS_BUILD_EXAMPLES=OFF)

function(configure name expect_success)
  execute_process(COMMAND "${CMAKE_COMMAND}" -B "${scratch}/${name}" -G "${GENERATOR}" "-DCMAKE_CXX_COMPILER=${CXX}"
                          "-DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}" ${ARGN}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  set(output "${out}${err}" PARENT_SCOPE)
  if(expect_success AND NOT rc EQUAL 0 OR NOT expect_success AND rc EQUAL 0)
    message(FATAL_ERROR "configure '${name}' gave ${rc}, not what was expected:\n${out}\n${err}\n(scratch kept: ${scratch})")
  endif()
endfunction()

# A configure without a build type builds optimised.
configure(default-type TRUE -S "${OLHS_SOURCE_DIR}" ${nothing_optional})
file(STRINGS "${scratch}/default-type/CMakeCache.txt" type REGEX "^CMAKE_BUILD_TYPE:")
if(NOT type MATCHES "=Release$")
  message(FATAL_ERROR "a configure without a build type chose '${type}', not Release")
endif()

# Inside a host project nothing optional is built and no optional package is needed.
configure(subproject TRUE -S "${SUBPROJECT_DIR}" "-DOLHS_SOURCE_DIR=${OLHS_SOURCE_DIR}" ${no_packages}
          -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON
          -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON)

# Each optional part that lacks its package names the package to install.
foreach(case "GTest;OLHS_BUILD_TESTS;libgtest-dev" "benchmark;OLHS_BUILD_BENCHMARKS;libbenchmark-dev"
             "CLI11;OLHS_BUILD_CLI;libcli11-dev")
  list(GET case 0 package)
  list(GET case 1 option)
  list(GET case 2 debian)
  configure(missing-${package} FALSE -S "${OLHS_SOURCE_DIR}" ${nothing_optional} -D${option}=ON ${no_packages}
            -DCMAKE_DISABLE_FIND_PACKAGE_${package}=ON)
  if(NOT output MATCHES "apt-get install ${debian}" OR NOT output MATCHES "-D${option}=OFF")
    message(FATAL_ERROR "a missing ${package} should name ${debian} and ${option}:\n${output}")
  endif()
endforeach()

file(REMOVE_RECURSE "${scratch}")
message(STATUS "build options test passed")
