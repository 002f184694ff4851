# Builds the programs of the project beside this file; see CMakeLists.txt. Run as: cmake -D SOURCE=... -P build.cmake

cmake_minimum_required(VERSION 3.22)

execute_process(
  COMMAND "${CMAKE_COMMAND}" -G Ninja -S "${SOURCE}" -B "${BUILD}" "-DCMAKE_CXX_COMPILER=${COMPILER}"
    "-DTREE=${TREE}" "-DTREL_BOOST_INCLUDE_DIR=${BOOST}" -DCMAKE_BUILD_TYPE=Release
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${CMAKE_COMMAND}" --build "${BUILD}" --parallel 2 COMMAND_ERROR_IS_FATAL ANY)
