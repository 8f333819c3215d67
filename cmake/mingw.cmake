# Toolchain: cross-compile for Windows with mingw-w64 and posix threads. Takes MINGW_TRIPLE
# (x86_64-w64-mingw32 or i686-w64-mingw32) and finds the libraries of scripts/winlibs.sh in WINLIBS.
if(NOT MINGW_TRIPLE)
  set(MINGW_TRIPLE x86_64-w64-mingw32)
endif()
if(NOT WINLIBS)
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/cache-dir
                  OUTPUT_VARIABLE WINLIBS OUTPUT_STRIP_TRAILING_WHITESPACE)
  string(APPEND WINLIBS /winlibs)
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MINGW_TRIPLE WINLIBS)

string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR ${MINGW_TRIPLE})
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${MINGW_TRIPLE}-windres)

# By default 32-bit code computes on the x87, and its rescaled pixels would differ from those of the
# other targets.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "i686")
  set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
  set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
endif()

# Headers, libraries and packages come from these two folders, never from the build machine.
set(CMAKE_FIND_ROOT_PATH ${WINLIBS}/${MINGW_TRIPLE} /usr/${MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
