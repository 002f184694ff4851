# One step of the install tests; see CMakeLists.txt. Run as: cmake -D STEP=... -P check.cmake

cmake_minimum_required(VERSION 3.22)

# Runs a command; its failure is the failure of the test.
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "failed (${result}): ${command}")
  endif()
endfunction()

set(consumer "${CMAKE_CURRENT_LIST_DIR}/consumer")

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE "${PREFIX}")
  run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}")

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

elseif(STEP STREQUAL "package")
  file(REMOVE_RECURSE "${WORK}")
  run("${CMAKE_COMMAND}" -G Ninja -S "${consumer}" -B "${WORK}"
      "-DCMAKE_PREFIX_PATH=${PREFIX}" "-DCMAKE_CXX_COMPILER=${COMPILER}" -DCMAKE_BUILD_TYPE=Release)
  run("${CMAKE_COMMAND}" --build "${WORK}")
  run("${WORK}/consumer")

elseif(STEP STREQUAL "pkgconfig")
  find_program(PKG_CONFIG NAMES pkg-config pkgconf)
  if(NOT PKG_CONFIG)
    message("pkg-config is not installed")
    return()
  endif()
  set(static "--static")
  if(SHARED)
    set(static "")
  endif()
  set(ENV{PKG_CONFIG_PATH} "${PREFIX}/${LIBDIR}/pkgconfig")
  execute_process(COMMAND "${PKG_CONFIG}" --cflags --libs ${static} trelUdp
    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  file(MAKE_DIRECTORY "${WORK}")
  run("${COMPILER}" -std=c++17 "${consumer}/main.cpp" ${flags} "-Wl,-rpath,${PREFIX}/${LIBDIR}" -o "${WORK}/consumer")
  run("${WORK}/consumer")

else()
  message(FATAL_ERROR "unknown STEP '${STEP}'")
endif()
