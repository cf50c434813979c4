# Optional parts of the build look their dependencies up here, so that a missing one stops
# the configure with a message that says what to install or which option turns the part off.

# olhs_missing_package(<what> <debian package> <option>): the message for a dependency
# that was not found.
function(olhs_missing_package what debian option)
  message(FATAL_ERROR
    "${option} needs ${what}, which was not found. Install it (Debian and Ubuntu: "
    "apt-get install ${debian}), point CMAKE_PREFIX_PATH at it, or configure with -D${option}=OFF.")
endfunction()

# olhs_require_package(<package> <debian package> <option>): find_package(<package>) or stop.
# A macro, so the package's variables and targets are visible where it is called.
macro(olhs_require_package package debian option)
  find_package(${package} QUIET)
  if(NOT ${package}_FOUND)
    olhs_missing_package(${package} ${debian} ${option})
  endif()
endmacro()
