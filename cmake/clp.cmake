# Builds the library with the linear program solver CLP as a guide, or without.
#
# Only the headers are needed here. The library itself is loaded by the program when it first wants to ask it, under the
# name that tells its version of the interface.
find_path(CLP_INCLUDE_DIR Clp_C_Interface.h PATH_SUFFIXES coin coin-or)
find_library(CLP_LIBRARY Clp)
mark_as_advanced(CLP_INCLUDE_DIR CLP_LIBRARY)

set(unused clp_proposer)
set(TARKU_HAS_CLP OFF)
if(TARKU_WITH_CLP AND CLP_INCLUDE_DIR AND CLP_LIBRARY)
  set(unused no_proposer)
  set(TARKU_HAS_CLP ON)
  get_filename_component(clp_file ${CLP_LIBRARY} REALPATH)
  get_filename_component(clp_name ${clp_file} NAME)
  string(REGEX REPLACE "(\\.so\\.[0-9]+).*" "\\1" clp_soname ${clp_name})
  set_source_files_properties(${PROJECT_SOURCE_DIR}/tarku/lp/clp_proposer.cpp PROPERTIES
    COMPILE_DEFINITIONS TARKU_CLP_SONAME="${clp_soname}")
  target_include_directories(tarku SYSTEM PRIVATE ${CLP_INCLUDE_DIR})
  find_package(Threads REQUIRED)
  target_link_libraries(tarku PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
elseif(TARKU_WITH_CLP)
  message(STATUS "CLP not found: linear programs are decided without a guide")
endif()
set_source_files_properties(${PROJECT_SOURCE_DIR}/tarku/lp/${unused}.cpp PROPERTIES HEADER_FILE_ONLY ON)
