# Cross-compiles for 64-bit Windows with Debian's clang, targeting MinGW-w64
# and sharing MinGW GCC's libstdc++ headers, import libraries and runtime DLLs,
# so that its programs and GCC's are clients of one C++ runtime. Everything
# but the compilers is the GCC toolchain's.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-x86_64.cmake)

# Where the posix-threads MinGW GCC keeps libstdc++ and its runtime DLLs.
set(QOR_MINGW_GCC_DIR /usr/lib/gcc/${QOR_MINGW_PREFIX}/12-posix)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${QOR_MINGW_PREFIX})
set(CMAKE_CXX_COMPILER_TARGET ${QOR_MINGW_PREFIX})
# The binutils of the MinGW toolchain, as GCC's builds use; llvm-objdump
# prints export tables in another layout.
set(CMAKE_OBJDUMP ${QOR_MINGW_PREFIX}-objdump)

# clang does not look for GCC's posix-threads libstdc++ on its own, nor link
# winpthreads, which that libstdc++ is built on, unless asked to (-pthread).
# MinGW GCC keeps thread-local variables in emulated TLS, and libstdc++'s
# (std::call_once's callable, used by std::thread) are reached only that way.
set(CMAKE_CXX_FLAGS_INIT
    "-femulated-tls -I${QOR_MINGW_GCC_DIR}/include/c++ -I${QOR_MINGW_GCC_DIR}/include/c++/${QOR_MINGW_PREFIX}")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-L${QOR_MINGW_GCC_DIR} -pthread")
endforeach()
