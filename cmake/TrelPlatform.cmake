# trel_platform::trace and trel_platform::framework: the platform's trace and utility library. This file alone knows
# whether they are the stand-ins of this tree or the system's own.

include_guard(GLOBAL)

if(TREL_PLATFORM STREQUAL "standin")
  add_subdirectory("${trel_SOURCE_DIR}/components/libtrace" "${trel_BINARY_DIR}/components/libtrace")
  add_subdirectory("${trel_SOURCE_DIR}/components/libframework" "${trel_BINARY_DIR}/components/libframework")

elseif(TREL_PLATFORM STREQUAL "system")
  set(trel_missing "")
  foreach(part IN ITEMS trace:trace.h framework:util.h)
    string(REPLACE ":" ";" part "${part}")
    list(GET part 0 name)
    list(GET part 1 header)
    string(TOUPPER "${name}" NAME)
    find_path(TREL_${NAME}_INCLUDE_DIR "lib${name}/${header}" DOC "Folder that holds lib${name}/${header}")
    find_library(TREL_${NAME}_LIBRARY ${name} DOC "The platform's lib${name}")
    if(NOT TREL_${NAME}_INCLUDE_DIR)
      string(APPEND trel_missing
             "\n  the header <lib${name}/${header}>   (-DTREL_${NAME}_INCLUDE_DIR=<folder that holds lib${name}/>)")
    endif()
    if(NOT TREL_${NAME}_LIBRARY)
      string(APPEND trel_missing "\n  the library lib${name}   (-DTREL_${NAME}_LIBRARY=<file>)")
    endif()
  endforeach()
  if(trel_missing)
    message(FATAL_ERROR "TREL_PLATFORM=system uses the system's own platform libraries, and these were not found:"
                        "${trel_missing}\nOr take the stand-ins of this tree: -DTREL_PLATFORM=standin.")
  endif()
  foreach(name IN ITEMS trace framework)
    string(TOUPPER "${name}" NAME)
    add_library(trel_platform_${name} INTERFACE)
    add_library(trel_platform::${name} ALIAS trel_platform_${name})
    add_library(trel::${name} ALIAS trel_platform_${name})  # its name in the installed package
    set_target_properties(trel_platform_${name} PROPERTIES EXPORT_NAME ${name})
    target_include_directories(trel_platform_${name} SYSTEM INTERFACE
                               "$<BUILD_INTERFACE:${TREL_${NAME}_INCLUDE_DIR}>")
    # By file in this tree, by name once installed: the system that the package is used on has it somewhere of its own.
    target_link_libraries(trel_platform_${name} INTERFACE
                          "$<BUILD_INTERFACE:${TREL_${NAME}_LIBRARY}>" "$<INSTALL_INTERFACE:${name}>")
  endforeach()

else()
  message(FATAL_ERROR "TREL_PLATFORM is '${TREL_PLATFORM}'; it must be 'standin' or 'system'.")
endif()
