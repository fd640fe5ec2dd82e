# Extra libraries of single benchmarks.
find_library(GMPXX_LIBRARY gmpxx REQUIRED)
find_path(FLINT_INCLUDE_DIR flint/fmpq.h)
find_library(FLINT_LIBRARY flint)
mark_as_advanced(GMPXX_LIBRARY FLINT_INCLUDE_DIR FLINT_LIBRARY)

# numbers_bench compares with GMP's C++ class, and with FLINT where it is installed.
target_link_libraries(numbers_bench PRIVATE ${GMPXX_LIBRARY} GMP::GMP)
if(FLINT_INCLUDE_DIR AND FLINT_LIBRARY)
  target_compile_definitions(numbers_bench PRIVATE TARKU_WITH_FLINT)
  target_include_directories(numbers_bench SYSTEM PRIVATE ${FLINT_INCLUDE_DIR})
  target_link_libraries(numbers_bench PRIVATE ${FLINT_LIBRARY})
else()
  message(STATUS "FLINT not found: numbers_bench runs without it")
endif()
