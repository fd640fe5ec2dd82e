# Finds the SAT solver CaDiCaL and defines the target CaDiCaL::CaDiCaL.
#
# Looks first where scripts/install-deps unpacks it when the system has none that is new enough (TARKU_DEPS), or below
# CaDiCaL_ROOT when that is given. A probe is compiled, linked and run: it tells the version, and whether an archive
# from a newer system needs the helper of cmake/cadical/ to link here. Results:
#   CADICAL_LIBRARY, CADICAL_INCLUDE_DIR   what was found
#   CADICAL_NEEDS_SHIM                     the target links tarku_cadical_shim, which is defined as well
find_path(CADICAL_INCLUDE_DIR cadical.hpp
  HINTS ${TARKU_DEPS}/cadical/usr PATH_SUFFIXES include/cadical cadical include)
find_library(CADICAL_LIBRARY cadical
  HINTS ${TARKU_DEPS}/cadical/usr PATH_SUFFIXES lib lib/${CMAKE_LIBRARY_ARCHITECTURE})
mark_as_advanced(CADICAL_INCLUDE_DIR CADICAL_LIBRARY)
set(CADICAL_HELPERS ${CMAKE_CURRENT_LIST_DIR}/cadical)

# cadical_probe(RESULT DEFINITIONS...): RESULT is what the probe prints, or empty when it does not build or run.
function(cadical_probe result)
  try_run(status built ${CMAKE_BINARY_DIR}/CMakeFiles/cadical ${CADICAL_HELPERS}/probe.cpp
    CMAKE_FLAGS -DINCLUDE_DIRECTORIES=${CADICAL_INCLUDE_DIR} -DCMAKE_CXX_STANDARD=17
    COMPILE_DEFINITIONS ${ARGN} LINK_LIBRARIES ${CADICAL_LIBRARY}
    COMPILE_OUTPUT_VARIABLE CADICAL_COMPLAINTS RUN_OUTPUT_VARIABLE printed)
  string(STRIP "${printed}" printed)
  if(NOT built OR NOT status EQUAL 0)
    set(printed "")
    file(APPEND ${CMAKE_BINARY_DIR}/CMakeFiles/CMakeError.log "CaDiCaL probe ${ARGN}:\n${CADICAL_COMPLAINTS}\n")
  endif()
  set(${result} "${printed}" PARENT_SCOPE)
  unset(status CACHE)
  unset(built CACHE)
endfunction()

# What was found out is kept in the cache until another library is found.
if(CADICAL_INCLUDE_DIR AND CADICAL_LIBRARY AND NOT CADICAL_PROBED STREQUAL "${CADICAL_LIBRARY}")
  set(shim "")
  cadical_probe(version)
  if(NOT version)
    set(shim -DPROBE_WITH_SHIM)
    cadical_probe(version ${shim})
  endif()
  cadical_probe(interface -DPROBE_INTERFACE ${shim})
  set(CADICAL_PROBED "${CADICAL_LIBRARY}" CACHE INTERNAL "the library that the following was found out about")
  set(CADICAL_VERSION "${version}" CACHE INTERNAL "empty: does not link")
  set(CADICAL_INTERFACE "${interface}" CACHE INTERNAL "empty: not the interface of 2.1")
  set(CADICAL_NEEDS_SHIM "${shim}" CACHE INTERNAL "the archive needs tarku_cadical_shim")
endif()

# A library that is of no use is forgotten, so that the next run looks again.
set(hint "scripts/install-deps build fetches CaDiCaL where the system has none that is new enough")
if(NOT CADICAL_INTERFACE AND CADICAL_PROBED)
  if(NOT CADICAL_VERSION)
    set(hint "${CADICAL_LIBRARY} does not link with this compiler, see CMakeFiles/CMakeError.log")
  elseif(CADICAL_VERSION VERSION_GREATER_EQUAL 2.1)
    set(hint "CaDiCaL ${CADICAL_VERSION} has another interface than 2.1, see CMakeFiles/CMakeError.log")
  else()
    set(CADICAL_INTERFACE "old")  # the version is told instead
  endif()
  foreach(name CADICAL_LIBRARY CADICAL_INCLUDE_DIR CADICAL_PROBED)
    set(${name} "${${name}}")
    unset(${name} CACHE)
  endforeach()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CaDiCaL
  REQUIRED_VARS CADICAL_LIBRARY CADICAL_INCLUDE_DIR CADICAL_VERSION CADICAL_INTERFACE
  VERSION_VAR CADICAL_VERSION REASON_FAILURE_MESSAGE "${hint}")

if(CaDiCaL_FOUND AND NOT TARGET CaDiCaL::CaDiCaL)
  add_library(CaDiCaL::CaDiCaL UNKNOWN IMPORTED)
  set_target_properties(CaDiCaL::CaDiCaL PROPERTIES
    IMPORTED_LOCATION "${CADICAL_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${CADICAL_INCLUDE_DIR}")
  if(CADICAL_NEEDS_SHIM)
    add_library(tarku_cadical_shim STATIC ${CADICAL_HELPERS}/isoc23_fscanf.cpp)
    set_target_properties(tarku_cadical_shim PROPERTIES POSITION_INDEPENDENT_CODE ON)
    set_target_properties(CaDiCaL::CaDiCaL PROPERTIES INTERFACE_LINK_LIBRARIES tarku_cadical_shim)
  endif()
endif()
