# Builds the programs of the project beside this file; see CMakeLists.txt. Run as: cmake -D SOURCE=... -P build.cmake

cmake_minimum_required(VERSION 3.22)

# The compiler of a foreign machine is named by its toolchain file.
set(compiler "-DCMAKE_CXX_COMPILER=${COMPILER}")
if(TOOLCHAIN)
  set(compiler "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")
endif()
execute_process(
  COMMAND "${CMAKE_COMMAND}" -G Ninja -S "${SOURCE}" -B "${BUILD}" "${compiler}"
    "-DTREE=${TREE}" "-DTREL_BOOST_INCLUDE_DIR=${BOOST}" -DCMAKE_BUILD_TYPE=Release
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${CMAKE_COMMAND}" --build "${BUILD}" --parallel 2 COMMAND_ERROR_IS_FATAL ANY)
