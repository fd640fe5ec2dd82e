# Two promises to those who use the library: it builds alone, and its installed package is found and links.
set(PACKAGE_OPTIONS
  -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER} -DCMAKE_CXX_FLAGS=${CMAKE_CXX_FLAGS} -DGENERATOR=${CMAKE_GENERATOR})

# Nothing but GMP and a compiler: every other package is hidden from the configuration.
add_test(NAME package/library_alone COMMAND ${CMAKE_COMMAND}
  -DSOURCE=${PROJECT_SOURCE_DIR} -DWORK=${CMAKE_CURRENT_BINARY_DIR}/package/alone ${PACKAGE_OPTIONS}
  -P ${CMAKE_CURRENT_SOURCE_DIR}/package/library_alone.cmake)

# Installs this build into a fresh prefix, then configures, builds and runs a project that knows only that prefix.
add_test(NAME package/installed COMMAND ${CMAKE_COMMAND}
  -DBUILD=${PROJECT_BINARY_DIR} -DCONSUMER=${CMAKE_CURRENT_SOURCE_DIR}/package/consumer
  -DWORK=${CMAKE_CURRENT_BINARY_DIR}/package/installed ${PACKAGE_OPTIONS}
  -P ${CMAKE_CURRENT_SOURCE_DIR}/package/installed.cmake)

set_tests_properties(package/library_alone package/installed PROPERTIES LABELS fast)
