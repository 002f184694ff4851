# One step of the install and consumer tests; see CMakeLists.txt. Run as: cmake -D STEP=... -P check.cmake

cmake_minimum_required(VERSION 3.22)

string(REPLACE "|||" ";" EMULATOR "${EMULATOR}")
set(consumer "${CMAKE_CURRENT_LIST_DIR}/consumer")
set(warnings -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)

# Runs a command; its failure is the failure of the test.
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "failed (${result}): ${command}")
  endif()
endfunction()

# How a consumer's project is told its compiler. One of another machine knows where the package and Boost's headers are,
# and looks for nothing of this machine.
set(configure "${CMAKE_COMMAND}" -G Ninja -DCMAKE_BUILD_TYPE=Release)
if(TOOLCHAIN)
  list(APPEND configure "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}" "-DBoost_INCLUDE_DIR=${BOOST}")
else()
  list(APPEND configure "-DCMAKE_CXX_COMPILER=${COMPILER}")
endif()
set(find_trel "-Dtrel_DIR=${PREFIX}/${LIBDIR}/cmake/trel")
if(NOT TOOLCHAIN)
  set(find_trel "-DCMAKE_PREFIX_PATH=${PREFIX}")
endif()
list(JOIN warnings " " flags)
set(with_warnings "-DCMAKE_CXX_FLAGS=${flags}")

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE "${PREFIX}")
  run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}")

elseif(STEP STREQUAL "installStatic")
  file(REMOVE_RECURSE "${PREFIX}")
  run(${configure} -S "${TREE}" -B "${WORK}" -DBUILD_SHARED_LIBS=OFF -DTREL_BUILD_TESTS=OFF -DTREL_BUILD_EXAMPLES=OFF
      "-DCMAKE_INSTALL_LIBDIR=${LIBDIR}")
  run("${CMAKE_COMMAND}" --build "${WORK}" --parallel 2)
  run("${CMAKE_COMMAND}" --install "${WORK}" --prefix "${PREFIX}")

elseif(STEP STREQUAL "headers")
  set(expected
    libframework/util.h
    libtrace/trace.h
    trel/trelObjectId.h
    trel/trelObjects.h
    trel/trelProperty.h
    trel/trelProtocolBase.h
    trel/trelmsg.h
    trelUdp/trelUdp.h)
  file(GLOB_RECURSE found RELATIVE "${PREFIX}/include" "${PREFIX}/include/*")
  list(SORT found)
  if(NOT found STREQUAL expected)
    message(FATAL_ERROR "installed headers:\n  ${found}\nexpected:\n  ${expected}")
  endif()

elseif(STEP STREQUAL "components")
  set(project -S "${CMAKE_CURRENT_LIST_DIR}/components" -B "${WORK}" ${find_trel})
  run(${configure} ${project} "-DCOMPONENTS=trel;udp;trace;framework" -DOPTIONAL=carrierPigeon)
  execute_process(COMMAND ${configure} ${project} "-DCOMPONENTS=udp;carrierPigeon" -DOPTIONAL=
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE said)
  string(REGEX REPLACE "[ \n]+" " " said "${said}")
  if(result EQUAL 0 OR
     NOT said MATCHES "trel has no component 'carrierPigeon'. its components are: trel udp trace framework")
    message(FATAL_ERROR "configuring with an unknown component ended with ${result} and said:\n${said}")
  endif()

elseif(STEP STREQUAL "package")
  run(${configure} -S "${consumer}" -B "${WORK}" ${find_trel} "${with_warnings}")
  run("${CMAKE_COMMAND}" --build "${WORK}")
  run(${EMULATOR} "${WORK}/consumer")

elseif(STEP STREQUAL "subdirectory")
  # Without warnings as errors: the parent's flags would be the library's too, and that has its own.
  run(${configure} -S "${CMAKE_CURRENT_LIST_DIR}/parent" -B "${WORK}" "-DTREE=${TREE}" "-DSHARED=${SHARED}")
  run("${CMAKE_COMMAND}" --build "${WORK}" --parallel 2 --target consumer)
  run("${WORK}/consumer")

elseif(STEP STREQUAL "pkgconfig")
  find_program(PKG_CONFIG NAMES pkg-config pkgconf)
  if(NOT PKG_CONFIG)
    message("pkg-config is not installed")
    return()
  endif()
  set(ENV{PKG_CONFIG_PATH} "${PREFIX}/${LIBDIR}/pkgconfig")
  # Without --static, also for the static library: where there is no other, its file names all that it needs.
  execute_process(COMMAND "${PKG_CONFIG}" --cflags --libs trelUdp
    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  if(BOOST)
    list(APPEND flags -isystem "${BOOST}")
  endif()
  run("${COMPILER}" -std=c++17 ${warnings} "${consumer}/main.cpp" ${flags} "-Wl,-rpath,${PREFIX}/${LIBDIR}"
      -o "${WORK}/consumer")
  run(${EMULATOR} "${WORK}/consumer")

else()
  message(FATAL_ERROR "unknown STEP '${STEP}'")
endif()
