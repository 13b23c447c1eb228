# Installs the library, its headers, a CMake package (vorel::vorel) and vorel.pc.
include(CMakePackageConfigHelpers)

install(TARGETS vorel EXPORT vorel-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/vorel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT vorel-targets NAMESPACE vorel:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vorel)

configure_package_config_file(cmake/vorel-config.cmake.in ${PROJECT_BINARY_DIR}/vorel-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vorel)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vorel-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vorel-config.cmake ${PROJECT_BINARY_DIR}/vorel-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vorel)

# The prefix as seen from vorel.pc, so that an installed tree may be moved.
file(RELATIVE_PATH VOREL_PC_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" VOREL_PC_PREFIX "${VOREL_PC_PREFIX}")
configure_file(cmake/vorel.pc.in ${PROJECT_BINARY_DIR}/vorel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
