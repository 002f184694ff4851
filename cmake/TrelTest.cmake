# trel_gtest and trel_add_test.

include_guard(GLOBAL)

# GoogleTest with its main(), straight from its two amalgamated sources: its own CMake files would bring in options,
# install rules and a search for threads that a foreign build does not need.
add_library(trel_gtest STATIC EXCLUDE_FROM_ALL
  "${TREL_GOOGLETEST_DIR}/googletest/src/gtest-all.cc"
  "${TREL_GOOGLETEST_DIR}/googlemock/src/gmock-all.cc"
  "${TREL_GOOGLETEST_DIR}/googlemock/src/gmock_main.cc")
target_compile_features(trel_gtest PUBLIC cxx_std_17)
target_include_directories(trel_gtest SYSTEM PUBLIC
  "${TREL_GOOGLETEST_DIR}/googletest/include" "${TREL_GOOGLETEST_DIR}/googlemock/include")
target_include_directories(trel_gtest PRIVATE
  "${TREL_GOOGLETEST_DIR}/googletest" "${TREL_GOOGLETEST_DIR}/googlemock")
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
target_link_libraries(trel_gtest PUBLIC Threads::Threads PRIVATE trel_instrumentation)

# Seconds after which a single test counts as hanging. An emulated machine is about ten times slower.
set(trel_test_timeout 120)
if(CMAKE_CROSSCOMPILING)
  set(trel_test_timeout 600)
endif()

# trel_add_test(<name> <sources...>)
#
# One test program, linked with trel, the test support and GoogleTest. Each TEST in it is a ctest test, named as in the
# source, and runs in a process of its own, so that process-wide state of the library is fresh in each. Add what else it
# needs with target_link_libraries(<name> PRIVATE ...) afterwards.
function(trel_add_test name)
  add_executable(${name} ${ARGN})
  trel_target_defaults(${name})
  target_link_libraries(${name} PRIVATE trelTestSupport trel_gtest)
  gtest_discover_tests(${name}
    DISCOVERY_TIMEOUT 300
    PROPERTIES TIMEOUT ${trel_test_timeout})
endfunction()
