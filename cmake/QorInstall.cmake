# Installs the DLL, its import library, the headers, the runtime DLLs and a
# CMake package, so that a client says find_package(qorcor14) and links
# qorcor14::qorcor14.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# qormsg14, the message catalogue, is qorcor14.dll's own dependency.
install(TARGETS qorcor14 qormsg14 EXPORT qorcor14Targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_BINDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${QOR_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
if(QOR_BUILD_TOOLS)
  install(TARGETS qortool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(QOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qorcor14)
install(EXPORT qorcor14Targets NAMESPACE qorcor14:: DESTINATION ${QOR_CMAKE_DIR})
configure_package_config_file(cmake/qorcor14Config.cmake.in
  ${PROJECT_BINARY_DIR}/qorcor14Config.cmake INSTALL_DESTINATION ${QOR_CMAKE_DIR}
  PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorcor14ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorcor14Config.cmake
              ${PROJECT_BINARY_DIR}/qorcor14ConfigVersion.cmake
        DESTINATION ${QOR_CMAKE_DIR})
