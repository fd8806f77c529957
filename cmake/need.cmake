# zylqx_need(OPTION NAME PACKAGE [COMPONENTS...]): finds what the part of the build
# that OPTION switches on needs. When it is missing, says which Debian package has
# it and which option does without.
macro(zylqx_need option name package)
  find_package(${name} QUIET ${ARGN})
  if(NOT ${name}_FOUND)
    message(FATAL_ERROR "${name} was not found, which ${option}=ON needs.\n"
      "Install it (on Debian: apt-get install ${package}), or configure with -D${option}=OFF.")
  endif()
endmacro()
