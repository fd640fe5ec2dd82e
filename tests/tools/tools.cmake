# The random tester of the solver, its self-tests and its recorded traces.
set(TESTER_DIR ${CMAKE_CURRENT_LIST_DIR})

# The oracle stands alone: the unit tests judge it without the library.
add_library(tester_oracle STATIC ${TESTER_DIR}/rational.cpp ${TESTER_DIR}/oracle.cpp)
target_link_libraries(tester_oracle PUBLIC GMP::GMP)
target_include_directories(tester_oracle PUBLIC ${PROJECT_SOURCE_DIR})
tarku_warnings(tester_oracle)
if(TARGET unit_tests)
  target_link_libraries(unit_tests PRIVATE tester_oracle)
endif()

# What makes up sequences of operations and watches a solver that goes through them.
add_library(tester_core STATIC
  ${TESTER_DIR}/bridge.cpp
  ${TESTER_DIR}/certified.cpp
  ${TESTER_DIR}/checker.cpp
  ${TESTER_DIR}/checker_values.cpp
  ${TESTER_DIR}/generator.cpp
  ${TESTER_DIR}/hooked.cpp
  ${TESTER_DIR}/implied.cpp
  ${TESTER_DIR}/model.cpp
  ${TESTER_DIR}/proof_sum.cpp
  ${TESTER_DIR}/trace.cpp)
target_link_libraries(tester_core PUBLIC tester_oracle tarku)
tarku_warnings(tester_core)

add_executable(random_tester
  ${TESTER_DIR}/random_tester.cpp
  ${TESTER_DIR}/isolation.cpp
  ${TESTER_DIR}/shrinker.cpp)
target_link_libraries(random_tester PRIVATE tester_core)
tarku_warnings(random_tester)

add_executable(dump_tester ${TESTER_DIR}/dump_tester.cpp)
target_link_libraries(dump_tester PRIVATE tester_core)
tarku_warnings(dump_tester)

# Seeds are fixed, so that a failure in CI can be repeated; the tester prints them.
add_test(NAME random_tester/core COMMAND random_tester --count 20000)
add_test(NAME random_tester/all COMMAND random_tester --features all --count 10000)
add_test(NAME random_tester/million COMMAND random_tester --seed 100000 --count 1000000)
set_tests_properties(random_tester/core random_tester/all PROPERTIES LABELS fast TIMEOUT 600)
set_tests_properties(random_tester/million PROPERTIES LABELS slow TIMEOUT 7200)

# The dumps of random states as other solvers read them; skipped where none is installed.
add_test(NAME dump_tester COMMAND dump_tester --count 4000)
add_test(NAME dump_tester/sabotage COMMAND dump_tester --count 200 --sabotage)
set_tests_properties(dump_tester dump_tester/sabotage PROPERTIES LABELS slow SKIP_RETURN_CODE 77 TIMEOUT 1800)

# Each way of spoiling what is observed must be noticed.
foreach(mode RANGE 1 14)
  add_test(NAME random_tester/sabotage_${mode}
    COMMAND random_tester --features all --count 5000 --sabotage ${mode})
  set_tests_properties(random_tester/sabotage_${mode} PROPERTIES LABELS fast)
endforeach()

# Traces of what once went wrong, or nearly did.
file(GLOB TESTER_TRACES CONFIGURE_DEPENDS ${TESTER_DIR}/traces/*.trace)
if(TESTER_TRACES)
  add_test(NAME random_tester/traces COMMAND random_tester --strict --replay ${TESTER_TRACES})
  set_tests_properties(random_tester/traces PROPERTIES LABELS fast)
endif()

# ---- the random tester of the engine ----
if(TARKU_WITH_CADICAL)
  add_executable(engine_tester
    ${TESTER_DIR}/engine_tester.cpp
    ${TESTER_DIR}/engine_judge.cpp
    ${TESTER_DIR}/engine_trace.cpp
    ${TESTER_DIR}/isolation.cpp)
  target_link_libraries(engine_tester PRIVATE tarku)
  tarku_warnings(engine_tester)

  add_test(NAME engine_tester/fast COMMAND engine_tester --count 3000)
  set_tests_properties(engine_tester/fast PROPERTIES LABELS fast TIMEOUT 600)
  add_test(NAME engine_tester/slow COMMAND engine_tester --seed 100000 --count 100000)
  set_tests_properties(engine_tester/slow PROPERTIES LABELS slow TIMEOUT 7200)
  foreach(mode RANGE 1 5)
    add_test(NAME engine_tester/sabotage_${mode} COMMAND engine_tester --count 3000 --sabotage ${mode})
    set_tests_properties(engine_tester/sabotage_${mode} PROPERTIES LABELS fast)
  endforeach()
endif()
