# Runs the traffic with two fill patterns and compares what it printed; see CMakeLists.txt. Of the planted traffic the
# difference is what is expected.

cmake_minimum_required(VERSION 3.22)

file(MAKE_DIRECTORY "${WORK}")
# Without the cache of a thread, which hands blocks out again as they are.
foreach(pattern IN ITEMS 85 170)
  set(ENV{GLIBC_TUNABLES} "glibc.malloc.perturb=${pattern}:glibc.malloc.tcache_count=0")
  execute_process(COMMAND ${EMULATOR} "${PROGRAM}" ${ARGUMENT} OUTPUT_VARIABLE said RESULT_VARIABLE result)
  unset(ENV{GLIBC_TUNABLES})
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "the traffic ended with ${result} under pattern ${pattern}")
  endif()
  file(WRITE "${WORK}/${pattern}.txt" "${said}")
  set(said_${pattern} "${said}")
endforeach()

string(REGEX MATCHALL "\n< " sent "${said_85}")
string(REGEX MATCHALL "\n  [347] " logged "${said_85}")
list(LENGTH sent datagrams)
list(LENGTH logged lines)
message("${datagrams} datagrams, ${lines} log lines")
if(datagrams LESS 150 OR lines LESS 500)
  message(FATAL_ERROR "that is less traffic than there should be")
endif()

if(ARGUMENT STREQUAL "planted")
  if(said_85 STREQUAL said_170)
    message(FATAL_ERROR "bytes that nobody wrote made no difference: the patterns do not work here")
  endif()
elseif(NOT said_85 STREQUAL said_170)
  message(FATAL_ERROR "what goes out depends on what was in memory before: compare ${WORK}/85.txt and 170.txt")
endif()
