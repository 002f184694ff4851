# Runs an example and compares all that it says with the committed file. See CMakeLists.txt.

execute_process(COMMAND ${EMULATOR} "${PROGRAM}"
  TIMEOUT 60 OUTPUT_VARIABLE said ERROR_VARIABLE complained RESULT_VARIABLE result)
file(READ "${EXPECTED}" expected)
message("${said}${complained}")

if(NOT result STREQUAL "0")
  message(FATAL_ERROR "The example ended with ${result}.")
endif()
if(NOT said STREQUAL expected)
  message(FATAL_ERROR "The example should say, as in ${EXPECTED}:\n${expected}")
endif()
