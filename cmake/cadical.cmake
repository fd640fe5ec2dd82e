# Links the library with CaDiCaL, or with what says that there is none, and installs what a client then needs.
#
# The archive is installed beside our own, also when it is the system's: our objects hold classes derived from its
# headers, so another version of it would link and then fail. tarkuConfig.cmake.in makes a target of it again.
set(TARKU_DEPS ${PROJECT_SOURCE_DIR}/build/deps CACHE PATH "Where scripts/install-deps unpacks libraries")
set(TARKU_INSTALLED_CADICAL "")  # the archive in the installed package
set(TARKU_INSTALLED_SHIM "")

set(unused cadical_solver)
if(TARKU_WITH_CADICAL)
  set(unused no_solver)
elseif(TARKU_BUILD_APP)
  message(FATAL_ERROR "TARKU_BUILD_APP=ON needs TARKU_WITH_CADICAL=ON")
endif()
set_source_files_properties(${PROJECT_SOURCE_DIR}/tarku/sat/${unused}.cpp PROPERTIES HEADER_FILE_ONLY ON)
if(NOT TARKU_WITH_CADICAL)
  return()
endif()

find_package(CaDiCaL 2.1 REQUIRED)
target_link_libraries(tarku PRIVATE CaDiCaL::CaDiCaL)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/tarku)
if(CADICAL_LIBRARY MATCHES "[.]a$")
  get_filename_component(name ${CADICAL_LIBRARY} NAME)
  set(TARKU_INSTALLED_CADICAL ${package_folder}/${name})
  install(FILES ${CADICAL_LIBRARY} DESTINATION ${package_folder})
  find_file(CADICAL_COPYRIGHT copyright
    PATHS ${CADICAL_INCLUDE_DIR}/../../share/doc/libcadical-dev NO_DEFAULT_PATH)
  mark_as_advanced(CADICAL_COPYRIGHT)
  if(CADICAL_COPYRIGHT)
    install(FILES ${CADICAL_COPYRIGHT} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tarku RENAME copyright.cadical)
  endif()
else()
  set(TARKU_INSTALLED_CADICAL ${CADICAL_LIBRARY})  # a shared library stays where it is
endif()
if(TARGET tarku_cadical_shim)
  set(TARKU_INSTALLED_SHIM tarku::cadical_shim)
  set_target_properties(tarku_cadical_shim PROPERTIES EXPORT_NAME cadical_shim)
  install(TARGETS tarku_cadical_shim EXPORT tarkuTargets ARCHIVE DESTINATION ${package_folder})
endif()
