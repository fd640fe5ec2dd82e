# The programs that write ladders, run races and draw their results; drawing is skipped where python3-matplotlib is not
# installed.
add_test(NAME bench/race COMMAND Python3::Interpreter ${CMAKE_CURRENT_LIST_DIR}/race ${PROJECT_SOURCE_DIR}/bench/race)
add_test(NAME bench/plot COMMAND Python3::Interpreter ${CMAKE_CURRENT_LIST_DIR}/plot ${PROJECT_SOURCE_DIR}/bench/plot)
add_test(NAME bench/ladder
  COMMAND Python3::Interpreter ${CMAKE_CURRENT_LIST_DIR}/ladder ${PROJECT_SOURCE_DIR}/bench/ladder $<TARGET_FILE:tarku-bin>)
set_tests_properties(bench/race bench/plot bench/ladder PROPERTIES LABELS fast SKIP_RETURN_CODE 77 TIMEOUT 300)
