# Random scripts against other solvers: slow, and skipped where none is installed.
add_test(NAME differential/z3_or_cvc5
  COMMAND Python3::Interpreter ${CMAKE_CURRENT_LIST_DIR}/run $<TARGET_FILE:tarku-bin> $<TARGET_FILE:tarku-check> --count 2000)
set_tests_properties(differential/z3_or_cvc5 PROPERTIES LABELS slow SKIP_RETURN_CODE 77 TIMEOUT 3600)

# A program that answers everything with sat must be noticed, and the script that shows it made smaller.
add_test(NAME differential/sabotage
  COMMAND Python3::Interpreter ${CMAKE_CURRENT_LIST_DIR}/run ${CMAKE_CURRENT_LIST_DIR}/optimist $<TARGET_FILE:tarku-check> --count 60)
set_tests_properties(differential/sabotage PROPERTIES LABELS slow PASS_REGULAR_EXPRESSION "1 failure" SKIP_RETURN_CODE 77
  TIMEOUT 600)
