# Windows programs built on Linux: Debian's MinGW-w64 in its POSIX threads flavour (the other one has no
# std::thread and no std::mutex), run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(mingw_triplet x86_64-w64-mingw32)

set(CMAKE_C_COMPILER ${mingw_triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${mingw_triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${mingw_triplet}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${mingw_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# A program that runs anywhere carries its libraries with it: never the import library of a DLL.
set(ZLIB_USE_STATIC_LIBS ON)

set(CMAKE_CROSSCOMPILING_EMULATOR wine)
