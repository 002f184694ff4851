# trel_boost: Boost's headers, without libraries. They serve every machine, but the folder they lie in (/usr/include on
# most systems) holds the headers of this machine too, which a cross compiler must not see. So a foreign build gets a
# folder in which there is nothing but a link to boost/.

include_guard(GLOBAL)

find_path(TREL_BOOST_INCLUDE_DIR boost/any.hpp NO_CMAKE_FIND_ROOT_PATH
          DOC "Folder that holds boost/any.hpp" PATHS /usr/include /usr/local/include)
if(NOT TREL_BOOST_INCLUDE_DIR)
  message(FATAL_ERROR "Boost's headers (boost/any.hpp) were not found. On Debian: apt-get install libboost-dev, "
                      "or scripts/setup. Elsewhere: -DTREL_BOOST_INCLUDE_DIR=<folder that holds boost/>.")
endif()

set(trel_boost_dir "${TREL_BOOST_INCLUDE_DIR}")
if(CMAKE_CROSSCOMPILING)
  set(trel_boost_dir "${CMAKE_CURRENT_BINARY_DIR}/boost-headers")
  file(MAKE_DIRECTORY "${trel_boost_dir}")
  file(CREATE_LINK "${TREL_BOOST_INCLUDE_DIR}/boost" "${trel_boost_dir}/boost" SYMBOLIC)
endif()

add_library(trel_boost INTERFACE)
# A program that uses the installed package finds Boost where it has it: trelConfig.cmake asks for it.
target_include_directories(trel_boost SYSTEM INTERFACE "$<BUILD_INTERFACE:${trel_boost_dir}>")
target_link_libraries(trel_boost INTERFACE "$<INSTALL_INTERFACE:Boost::headers>")
