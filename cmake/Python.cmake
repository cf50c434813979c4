# OLHS_PYTHON: AUTO builds the Python module when Python 3's development files, pybind11
# and numpy are all found, and says in one line what is missing otherwise; ON requires them.
set(OLHS_PYTHON_ENABLED OFF)
if(NOT OLHS_PYTHON)
  return()
endif()
set(olhs_python_required OFF)
string(TOUPPER "${OLHS_PYTHON}" olhs_python_choice)
if(NOT olhs_python_choice STREQUAL "AUTO")
  set(olhs_python_required ON)
endif()

# Debian's interpreter has the Debian packages (numpy, pytest, scipy); a version manager's
# shim earlier on PATH usually does not.
if(NOT DEFINED Python3_EXECUTABLE AND EXISTS /usr/bin/python3)
  set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "Python 3 interpreter of the module and its tests")
endif()

set(olhs_python_missing "")
find_package(Python3 QUIET COMPONENTS Interpreter Development.Module)
if(NOT Python3_Interpreter_FOUND)
  set(olhs_python_missing "a Python 3 interpreter (python3)")
elseif(NOT Python3_Development.Module_FOUND)
  set(olhs_python_missing "Python 3's development files (python3-dev)")
else()
  find_package(pybind11 2.6 CONFIG QUIET)
  if(NOT pybind11_FOUND)
    set(olhs_python_missing "pybind11 (pybind11-dev)")
  else()
    execute_process(COMMAND ${Python3_EXECUTABLE} -c "import numpy"
                    RESULT_VARIABLE olhs_numpy_status OUTPUT_QUIET ERROR_QUIET)
    if(NOT olhs_numpy_status EQUAL 0)
      set(olhs_python_missing "numpy for ${Python3_EXECUTABLE} (python3-numpy)")
    endif()
  endif()
endif()

if(olhs_python_missing STREQUAL "")
  set(OLHS_PYTHON_ENABLED ON)
elseif(olhs_python_required)
  message(FATAL_ERROR "OLHS_PYTHON needs ${olhs_python_missing}, which was not found. Install it (Debian and "
                      "Ubuntu: apt-get install python3-dev pybind11-dev python3-numpy), or configure with "
                      "-DOLHS_PYTHON=OFF.")
else()
  message(STATUS "Python module not built: ${olhs_python_missing} not found")
endif()
