# Libraries, headers, the CMake package (find_package(trel 1 CONFIG): trel::trel, trel::udp) and the pkg-config files.

include_guard(GLOBAL)
include(CMakePackageConfigHelpers)

set(trel_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/trel")

# The libraries lie in one folder and find each other there, wherever that folder is.
foreach(target IN ITEMS trel trelUdp trel_platform_trace trel_platform_framework)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
endforeach()

# Three components, which TrelPackage.cmake makes packages of: what a program needs to run, what it needs to be built,
# and the stand-ins, which a platform with libraries of its own does without.
install(TARGETS trel trelUdp trel_boost EXPORT trelTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT libraries NAMELINK_COMPONENT development
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
install(TARGETS trel_platform_trace trel_platform_framework EXPORT trelTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT platform NAMELINK_COMPONENT development)
install(EXPORT trelTargets NAMESPACE trel:: DESTINATION "${trel_cmake_dir}" COMPONENT development)

# Headers by name: a private header next to them is not installed by being there.
get_target_property(trel_public_headers trel TREL_PUBLIC_HEADERS)
foreach(header IN LISTS trel_public_headers)
  install(FILES "${trel_SOURCE_DIR}/components/trel/${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/trel"
          COMPONENT development)
endforeach()
install(FILES "${trel_SOURCE_DIR}/components/trelUdp/trelUdp.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/trelUdp"
        COMPONENT development)
if(TREL_PLATFORM STREQUAL "standin")
  install(FILES "${trel_SOURCE_DIR}/components/libtrace/include/libtrace/trace.h"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/libtrace" COMPONENT development)
  install(FILES "${trel_SOURCE_DIR}/components/libframework/include/libframework/util.h"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/libframework" COMPONENT development)
endif()

configure_package_config_file("${trel_SOURCE_DIR}/cmake/trelConfig.cmake.in" "${trel_BINARY_DIR}/trelConfig.cmake"
  INSTALL_DESTINATION "${trel_cmake_dir}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${trel_BINARY_DIR}/trelConfigVersion.cmake"
  VERSION "${trel_VERSION}" COMPATIBILITY SameMajorVersion)
install(FILES "${trel_BINARY_DIR}/trelConfig.cmake" "${trel_BINARY_DIR}/trelConfigVersion.cmake"
  DESTINATION "${trel_cmake_dir}" COMPONENT development)

# The prefix in a .pc file is told from where the file lies, so the installed tree may be moved.
#
# What libtrel itself is linked with is named for whoever links it statically. Where trel is installed as a static
# library there is no other way to link it, so the libraries stand with it and nobody has to remember --static.
set(trel_pc_libs "")
set(trel_pc_libs_private " -lframework -ltrace")
foreach(library IN LISTS CMAKE_DL_LIBS ITEMS stdc++)
  string(APPEND trel_pc_libs_private " -l${library}")
endforeach()
get_target_property(trel_type trel TYPE)
if(trel_type STREQUAL "STATIC_LIBRARY")
  set(trel_pc_libs "${trel_pc_libs_private}")
  set(trel_pc_libs_private "")
endif()
file(RELATIVE_PATH trel_pc_to_prefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
foreach(library IN ITEMS trel trelUdp)
  configure_file("${trel_SOURCE_DIR}/cmake/${library}.pc.in" "${trel_BINARY_DIR}/${library}.pc" @ONLY)
  install(FILES "${trel_BINARY_DIR}/${library}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
          COMPONENT development)
endforeach()
