# 32-bit little-endian, run by the machine itself, so that memory checking covers
# 4-byte pointers as well. Debian package: g++-12-multilib.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)

# The package g++-multilib, which links <asm/...> to where -m32 looks for it, does
# not install beside the powerpc compiler. Its one link is replaced by a path.
foreach(language IN ITEMS C CXX)
  string(APPEND CMAKE_${language}_FLAGS_INIT
    " -idirafter /usr/include/x86_64-linux-gnu")
endforeach()

# No library of the 64-bit system serves here.
set(CMAKE_FIND_ROOT_PATH /usr/lib32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
