# The Debian packages, made by scripts/package: libtrel1 (what a program needs to run), libtrel-dev (what it needs to be
# built) and, with the stand-ins, libtrel-platform1 (libtrace and libframework).
#
# Only the packages of shared libraries: a static trel has nothing that runs without being built in.

include_guard(GLOBAL)

if(NOT BUILD_SHARED_LIBS)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME trel)
set(CPACK_PACKAGE_VERSION "${trel_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${trel_DESCRIPTION}")
set(CPACK_PACKAGE_VENDOR "the developers of trel")
set(CPACK_PACKAGE_CONTACT "the developers of trel <trel@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)

set(CPACK_COMPONENTS_ALL libraries development)
if(TREL_PLATFORM STREQUAL "standin")
  list(APPEND CPACK_COMPONENTS_ALL platform)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME libtrel1)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtrel-dev)
set(CPACK_DEBIAN_PLATFORM_PACKAGE_NAME libtrel-platform1)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PLATFORM_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION
    "The shared libraries that a program needs to run: the protocol itself and a UDP transport.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "What is needed to build a program: headers, the CMake package and pkg-config files.")
set(CPACK_COMPONENT_PLATFORM_DESCRIPTION
    "Stand-ins for the platform's libtrace and libframework. On the platform its own take their place.")

# What a package needs of the others, at this very version.
set(trel_others "")
if(TREL_PLATFORM STREQUAL "standin")
  set(trel_others "libtrel-platform1 (= ${trel_VERSION})")
endif()
set(trel_depends "libtrel1 (= ${trel_VERSION})" ${trel_others} libboost-dev)
list(JOIN trel_depends ", " CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS)

# What of the system: read off the libraries on this machine. The libraries of a foreign one are not here to be asked.
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${CMAKE_SYSTEM_PROCESSOR}")  # s390x is called the same
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "arm")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
  endif()
  set(trel_system libc6 libgcc-s1 libstdc++6)
  set(trel_depends ${trel_others} ${trel_system})
  list(JOIN trel_depends ", " CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS)
  list(JOIN trel_system ", " CPACK_DEBIAN_PLATFORM_PACKAGE_DEPENDS)
else()
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS "${trel_others}")
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PLATFORM_PACKAGE_SHLIBDEPS ON)
  # Where the libraries are that are needed and may not be installed while packages are made: trel, and the platform's.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${trel_BINARY_DIR}/components/trel")
  foreach(name IN ITEMS TRACE FRAMEWORK)
    if(TREL_PLATFORM STREQUAL "standin")
      string(TOLOWER "${name}" name)
      set(folder "${trel_BINARY_DIR}/components/lib${name}")
    else()
      get_filename_component(folder "${TREL_${name}_LIBRARY}" DIRECTORY)
    endif()
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${folder}")
  endforeach()
  # Programs that are packed later find out from this what they depend on.
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
endif()

# Every package carries the licence; what is installed without packages has no need of three copies.
foreach(package IN ITEMS libtrel1:libraries libtrel-dev:development libtrel-platform1:platform)
  string(REPLACE ":" ";" package "${package}")
  list(GET package 0 name)
  list(GET package 1 component)
  install(FILES "${trel_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}" RENAME copyright
          COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
