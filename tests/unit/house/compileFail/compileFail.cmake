# Compiles one file that must be refused and looks for the reason in what the compiler says; with REASON empty the file
# must compile.
#
#   cmake -DCOMPILER=... -DFLAGS=... -DINCLUDES=... -DSOURCE=... -DREASON=... -P compileFail.cmake

# Behind the compiler's own folders, not before them: the folder of Boost's headers may be one of those.
set(include_options "")
foreach(folder IN LISTS INCLUDES)
  list(APPEND include_options -idirafter "${folder}")
endforeach()
separate_arguments(flags UNIX_COMMAND "${FLAGS}")

execute_process(
  COMMAND "${COMPILER}" ${flags} -std=c++17 -fsyntax-only ${include_options} "${SOURCE}"
  RESULT_VARIABLE result
  OUTPUT_VARIABLE said
  ERROR_VARIABLE said)

# Compilers break and decorate long messages: blanks and newlines count as one blank.
string(REGEX REPLACE "[ \t\r\n]+" " " said_on_one_line "${said}")

if("${REASON}" STREQUAL "")
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${SOURCE} must compile and does not:\n${said}")
  endif()
elseif(result EQUAL 0)
  message(FATAL_ERROR "${SOURCE} compiles and must be refused with: ${REASON}")
else()
  string(FIND "${said_on_one_line}" "${REASON}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "${SOURCE} is refused, but not with: ${REASON}\n${said}")
  endif()
endif()
