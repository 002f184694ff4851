# What every target of this tree is compiled with. Flags hang on the targets, never on the directory or on CMake's
# global variables, so that a parent project's own targets are left alone.

include_guard(GLOBAL)
include(CheckCXXCompilerFlag)

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

# Hardening, for the libraries that are shipped; what each flag is for and costs, and which were left out, stands in
# docs/decisions.md. Not in an instrumented build, which nobody ships: sanitizers do the same, and more.
set(trel_hardening_flags "")
if(TREL_HARDENING AND NOT TREL_SANITIZE AND NOT TREL_COVERAGE)
  # -fcf-protection is known on x86 alone, -fstack-clash-protection not by every compiler for every machine.
  foreach(flag IN ITEMS -fstack-protector-strong -fstack-clash-protection -fcf-protection=return)
    string(MAKE_C_IDENTIFIER "TREL_HAS${flag}" known)
    check_cxx_compiler_flag("-Werror ${flag}" ${known})
    if(${known})
      list(APPEND trel_hardening_flags ${flag})
    endif()
  endforeach()
endif()

# Gives a library that is shipped what only such a library has.
function(trel_shipped_library target)
  # The libraries of a build find each other from where they lie, so that they are the same bytes in every folder.
  set_target_properties(${target} PROPERTIES BUILD_RPATH_USE_ORIGIN ON)
  # Calls within one source go straight to the function. Virtual operations are overridden as ever; only a program that
  # puts a function of its own in the place of a library's, by its name, is not met by them.
  target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY" AND NOT TREL_SANITIZE)
    # A sanitizer's runtime is in the program, so a library that uses it cannot be complete in itself.
    target_link_options(${target} PRIVATE "LINKER:-z,defs")
  endif()
  if(NOT trel_hardening_flags)
    return()
  endif()
  # The fortified calls of the C library need the optimiser. A distribution's own level, if given, makes way.
  target_compile_options(${target} PRIVATE ${trel_hardening_flags}
    "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
  if(type STREQUAL "SHARED_LIBRARY")
    target_link_options(${target} PRIVATE "LINKER:-z,relro,-z,now,-z,noexecstack")
    if("-fcf-protection=return" IN_LIST trel_hardening_flags)
      # Said outright: the C library's start files may say nothing about shadow stacks, and the linker would drop the mark.
      # They keep to them. Landing pads for indirect jumps they may lack, so that mark is left to the linker.
      target_link_options(${target} PRIVATE "LINKER:-z,shstk")
    endif()
  endif()
endfunction()
