# The certificate checkers: certificates that carry their verdict, broken ones, and the command line.
set(CHECKERS $<TARGET_FILE:tarku-check> $<TARGET_FILE:tarku-check-gmp>)
file(GLOB CERTIFICATES CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*.cert)
foreach(certificate ${CERTIFICATES})
  get_filename_component(name ${certificate} NAME)
  add_test(NAME checker/${name}
    COMMAND Python3::Interpreter ${CMAKE_CURRENT_LIST_DIR}/run ${CHECKERS} ${certificate})
  set_tests_properties(checker/${name} PROPERTIES LABELS fast)
endforeach()

add_test(NAME checker/program COMMAND Python3::Interpreter ${CMAKE_CURRENT_LIST_DIR}/program ${CHECKERS})
add_test(NAME checker/mutants COMMAND Python3::Interpreter ${CMAKE_CURRENT_LIST_DIR}/mutants ${CHECKERS} Alone)
add_test(NAME checker/mutants_of_scripts
  COMMAND Python3::Interpreter ${CMAKE_CURRENT_LIST_DIR}/mutants ${CHECKERS} AgainstScripts)
set_tests_properties(checker/program checker/mutants checker/mutants_of_scripts PROPERTIES
  LABELS fast ENVIRONMENT PYTHONDONTWRITEBYTECODE=1)
