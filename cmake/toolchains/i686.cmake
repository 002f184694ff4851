# 32-bit x86 (little-endian, signed char), by Debian's cross compiler; its programs run on a 64-bit x86 as they are.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(TREL_RUNS_HERE ON)

# Headers and libraries come from the machine that is built for, programs from the one that builds.
set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
