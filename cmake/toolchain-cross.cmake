# OSTREL_MACHINE names a line of machines.txt: Debian's compiler for that machine
# and qemu, which runs what it makes. Debian packages: g++-TRIPLET, qemu-user.

# CMake's own trial builds read this file too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES OSTREL_MACHINE)

file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/machines.txt row
  REGEX "^${OSTREL_MACHINE} ")
if(NOT row MATCHES "^[^ ]+ +([^ ]+) +([^ ]+) ")
  message(FATAL_ERROR "machines.txt knows no '${OSTREL_MACHINE}'")
endif()
set(triplet ${CMAKE_MATCH_1})
set(qemu ${CMAKE_MATCH_2})

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${qemu})
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${qemu};-L;/usr/${triplet})

set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
