# One test per script of this folder and of examples/: its output must be what its comment lines say.
file(GLOB REGRESS_SCRIPTS CONFIGURE_DEPENDS
  ${CMAKE_CURRENT_SOURCE_DIR}/regress/*.smt2 ${CMAKE_CURRENT_SOURCE_DIR}/regress/*.smt
  ${PROJECT_SOURCE_DIR}/examples/*.smt2)
foreach(script ${REGRESS_SCRIPTS})
  file(RELATIVE_PATH name ${PROJECT_SOURCE_DIR} ${script})
  string(REPLACE "tests/" "" name ${name})
  add_test(NAME ${name}
    COMMAND Python3::Interpreter ${CMAKE_CURRENT_SOURCE_DIR}/regress/run $<TARGET_FILE:tarku-bin> ${script})
  set_tests_properties(${name} PROPERTIES LABELS fast)
endforeach()

# The command line itself: usage, exit statuses, dialogues, signals.
add_test(NAME regress/program
  COMMAND Python3::Interpreter ${CMAKE_CURRENT_SOURCE_DIR}/regress/program $<TARGET_FILE:tarku-bin>)
set_tests_properties(regress/program PROPERTIES LABELS fast)
