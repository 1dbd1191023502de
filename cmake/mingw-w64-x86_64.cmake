# Cross build of the 64-bit Windows DLL with mingw-w64 (Debian package
# g++-mingw-w64-x86-64); executables run through Wine (package wine64).
#   cmake -S . -B build-win -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(MVIP_MINGW_PREFIX x86_64-w64-mingw32)
# The -posix flavour of the compilers: std::thread and friends work with it.
set(CMAKE_C_COMPILER ${MVIP_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${MVIP_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${MVIP_MINGW_PREFIX}-windres)

# Libraries and headers of the target only; programs of the host.
set(CMAKE_FIND_ROOT_PATH /usr/${MVIP_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Tests and test discovery run the built programs through Wine.
find_program(MVIP_WINE64 NAMES wine64 PATHS /usr/lib/wine /usr/lib64/wine NO_CMAKE_FIND_ROOT_PATH)
if(MVIP_WINE64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${MVIP_WINE64})
endif()
