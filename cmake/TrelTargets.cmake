# What every target of this tree is compiled with. Flags hang on the targets, never on the directory or on CMake's
# global variables, so that a parent project's own targets are left alone.

include_guard(GLOBAL)

# Warnings, for our own code only: linked PRIVATE, never exported.
add_library(trel_warnings INTERFACE)
target_compile_options(trel_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(TREL_WERROR)
  target_compile_options(trel_warnings INTERFACE -Werror)
endif()

# Sanitizers and coverage. GoogleTest gets them too: a container that crosses the border between instrumented and
# plain code would otherwise be reported as overflowing.
add_library(trel_instrumentation INTERFACE)
if(TREL_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "TREL_FUZZ needs Clang, which has libFuzzer; the compiler is ${CMAKE_CXX_COMPILER_ID}. "
                        "Use the preset 'fuzz' or -DCMAKE_CXX_COMPILER=clang++.")
  endif()
  set(TREL_SANITIZE "address,undefined,fuzzer-no-link")
endif()
if(TREL_SANITIZE)
  # The list may be separated by commas, as for the compiler, or by semicolons, as for CMake.
  string(REPLACE ";" "," trel_sanitizers "${TREL_SANITIZE}")
  target_compile_options(trel_instrumentation INTERFACE
    -fsanitize=${trel_sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(trel_instrumentation INTERFACE -fsanitize=${trel_sanitizers})
endif()
if(TREL_COVERAGE)
  target_compile_options(trel_instrumentation INTERFACE --coverage -fno-inline -fprofile-update=atomic)
  target_link_options(trel_instrumentation INTERFACE --coverage)
endif()

# Gives a target of this tree the language level, the warnings and the instrumentation.
function(trel_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF)
  # $<BUILD_INTERFACE> keeps both out of the installed package, also for a static library.
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:trel_warnings> $<BUILD_INTERFACE:trel_instrumentation>)
  # __FILE__, as it appears in trace lines, begins at "components/" wherever the tree lies.
  target_compile_options(${target} PRIVATE "-fmacro-prefix-map=${trel_SOURCE_DIR}/=")
endfunction()
