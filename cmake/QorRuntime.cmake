# The DLL and its clients share one C++ runtime, linked dynamically; its DLLs
# are copied beside the built programs and installed with the library.
#
# They are MinGW GCC's whichever compiler builds: GCC knows where they are,
# and the clang toolchain names GCC's folder (QOR_MINGW_GCC_DIR).
set(QOR_RUNTIME_DLLS)
if(WIN32)
  foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    set(path)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    else()
      find_file(QOR_RUNTIME_${dll} ${dll} NO_DEFAULT_PATH NO_CACHE NO_CMAKE_FIND_ROOT_PATH
                PATHS ${QOR_MINGW_GCC_DIR} /usr/${QOR_MINGW_PREFIX}/lib)
      set(path "${QOR_RUNTIME_${dll}}")
    endif()
    get_filename_component(path "${path}" REALPATH)
    if(NOT EXISTS "${path}")
      message(FATAL_ERROR "Cannot find ${dll}, the C++ runtime shared with the library's clients")
    endif()
    list(APPEND QOR_RUNTIME_DLLS "${path}")
  endforeach()
  file(COPY ${QOR_RUNTIME_DLLS} DESTINATION ${PROJECT_BINARY_DIR}/bin)
endif()
