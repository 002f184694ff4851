# trel_gtest and trel_add_test.

include_guard(GLOBAL)

# GoogleTest, straight from its two amalgamated sources: its own CMake files would bring in options, install rules and a
# search for threads that a foreign build does not need. The main() of the tests is in tests/allocation.
add_library(trel_gtest STATIC EXCLUDE_FROM_ALL
  "${TREL_GOOGLETEST_DIR}/googletest/src/gtest-all.cc"
  "${TREL_GOOGLETEST_DIR}/googlemock/src/gmock-all.cc")
target_compile_features(trel_gtest PUBLIC cxx_std_17)
target_include_directories(trel_gtest SYSTEM PUBLIC
  "${TREL_GOOGLETEST_DIR}/googletest/include" "${TREL_GOOGLETEST_DIR}/googlemock/include")
target_include_directories(trel_gtest PRIVATE
  "${TREL_GOOGLETEST_DIR}/googletest" "${TREL_GOOGLETEST_DIR}/googlemock")
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
target_link_libraries(trel_gtest PUBLIC Threads::Threads PRIVATE trel_instrumentation)
target_compile_options(trel_gtest PRIVATE -O0)  # as the tests, see below

# What every test includes, compiled once for each build: most of the time of compiling a test is reading these.
file(CONFIGURE OUTPUT trelTestHeaders.cpp CONTENT "// Only here to have the headers compiled.\n")
add_library(trelTestHeaders OBJECT EXCLUDE_FROM_ALL "${CMAKE_CURRENT_BINARY_DIR}/trelTestHeaders.cpp")

# The address sanitizer sees a null pointer that is used, and to look for it a second time takes a fifth of the time of building
# tests. Linked last, because the last option is the one that counts.
add_library(trel_test_instrumentation INTERFACE)
if(TREL_SANITIZE MATCHES "address")
  target_compile_options(trel_test_instrumentation INTERFACE -fno-sanitize=null)
endif()

# The flags of tests. They are not optimised, which halves the time of building them: the library that they test is what its
# preset says.
function(trel_test_defaults target)
  trel_target_defaults(${target})
  target_compile_options(${target} PRIVATE -O0)
  target_link_libraries(${target} PRIVATE trelTestSupport trel_gtest trel_test_instrumentation)
endfunction()

trel_test_defaults(trelTestHeaders)
target_precompile_headers(trelTestHeaders PRIVATE
  <gtest/gtest.h> <memory> <string> <string_view> <vector> "${trel_SOURCE_DIR}/components/trel/trelProtocolBase.h")

# Programs that an emulator runs, or none that is here. 32-bit x86 is cross-compiled too, and runs as it is.
set(trel_foreign OFF)
if(CMAKE_CROSSCOMPILING AND NOT TREL_RUNS_HERE)
  set(trel_foreign ON)
endif()

# Seconds after which a test counts as hanging: a single one, or on an emulated machine, which is about ten times slower, all
# of a program.
set(trel_test_timeout 120)
if(trel_foreign)
  set(trel_test_timeout 1800)
endif()

# Programs of which the tests run once more with memory running out, see tests/allocation/main.cpp. Each is one ctest test,
# EveryAllocation.<name>, in the shipped build; scripts/check-allocation has the long form, under the sanitizers too. The
# library must be a file of its own, so that its code is told from the tests'. Not on foreign machines: there are some twenty
# thousand processes to start, and the emulator takes far too long for each; what is looked for is the same on all of them.
# Nor where the library is not optimised: a getter that checks nothing falls there in a frame of its own, over the value that
# the test did not get, and that passes for a fall of the library.
get_target_property(trel_type trel TYPE)
set(trel_has_every_allocation OFF)
if(trel_type STREQUAL "SHARED_LIBRARY" AND NOT trel_foreign AND
   (TREL_SANITIZE OR NOT CMAKE_BUILD_TYPE STREQUAL "Debug"))
  set(trel_has_every_allocation ON)
endif()
set(trel_every_allocation_programs
  trelObjectIdTest trelmsgTest trelPropertyTest trelObjectsTest trelProtocolBaseTest costTest
  trelUdpTest trelUdpGuardTest trelUdpCostTest scenarioTest scenarioUdpVersionTest secondReadingTest)
# Left out of them by name: the peer is a thread of the test, and an exception that passes a thread which nobody has joined
# ends the process, whoever throws it.
set(trel_every_allocation_filter_trelUdpTest "-UdpRequest.AReplyThatTakesItsTimeIsAwaited")
# And left out as a whole:
#   houseTest, libframeworkTest, libtraceTest   run nothing of the library
#   memoryTest        tens of thousands of blocks at a time; the same requests with fewer variables are in the others
#   scenarioUdpTest   three processes that wait for each other, over a network that loses what it likes
#   simulate, soak    compare every step with a model, which knows nothing of memory that runs out
#
# One line for each program, its name and its filter, for scripts/check-allocation.
set(trel_every_allocation_list "")
foreach(program IN LISTS trel_every_allocation_programs)
  if(NOT DEFINED trel_every_allocation_filter_${program})
    set(trel_every_allocation_filter_${program} "*")
  endif()
  string(APPEND trel_every_allocation_list "${program} ${trel_every_allocation_filter_${program}}\n")
endforeach()
file(WRITE "${PROJECT_BINARY_DIR}/everyAllocation.txt" "${trel_every_allocation_list}")

# trel_add_test(<name> <sources...>)
#
# One test program, linked with trel, the test support and GoogleTest. Each TEST in it is a ctest test, named as in the
# source, and runs in a process of its own, so that process-wide state of the library is fresh in each; on a foreign machine
# the program is one ctest test, and each TEST in it a process. Add what else it
# needs with target_link_libraries(<name> PRIVATE ...) afterwards.
function(trel_add_test name)
  add_executable(${name} ${ARGN})
  trel_test_defaults(${name})
  target_link_libraries(${name} PRIVATE trelTestMain)
  target_precompile_headers(${name} REUSE_FROM trelTestHeaders)
  if(trel_foreign)
    # To start a program under an emulator takes longer than most tests: it forks for each of them instead.
    add_test(NAME EachInAProcess.${name} COMMAND ${name} --each-in-a-process)
    set_tests_properties(EachInAProcess.${name} PROPERTIES TIMEOUT ${trel_test_timeout} COST 100)
    return()
  endif()
  gtest_discover_tests(${name}
    DISCOVERY_TIMEOUT 300
    PROPERTIES TIMEOUT ${trel_test_timeout})
  if(trel_has_every_allocation AND NOT TREL_SANITIZE AND NOT TREL_COVERAGE AND name IN_LIST trel_every_allocation_programs)
    add_test(NAME EveryAllocation.${name}
      COMMAND ${name} --every-allocation=quick --gtest_filter=${trel_every_allocation_filter_${name}})
    # Started first, because the longest ones would otherwise run alone at the end.
    set_tests_properties(EveryAllocation.${name} PROPERTIES TIMEOUT 1200 COST 100)
  endif()
endfunction()
