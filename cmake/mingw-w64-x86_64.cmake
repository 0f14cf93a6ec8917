# Cross-compiles for 64-bit Windows with Debian's MinGW-w64 (posix threads).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(QOR_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${QOR_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QOR_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${QOR_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${QOR_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Client projects find an installed qorcor14 through CMAKE_PREFIX_PATH.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# Programs run under Wine; the wrapper keeps its prefix inside the build tree.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/wine-run.sh")
