# The DLL and its clients share one C++ runtime, linked dynamically; its DLLs
# are copied beside the built programs and installed with the library.
set(QOR_RUNTIME_DLLS)
if(MINGW)
  foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    get_filename_component(path "${path}" REALPATH)
    if(NOT EXISTS "${path}")
      message(FATAL_ERROR "The compiler does not know where ${dll} is")
    endif()
    list(APPEND QOR_RUNTIME_DLLS "${path}")
  endforeach()
  file(COPY ${QOR_RUNTIME_DLLS} DESTINATION ${PROJECT_BINARY_DIR}/bin)
endif()
