# Installed tree: headers, the shared library, a CMake package and a pkg-config file, all under
# names that no other Debian package uses.
include(CMakePackageConfigHelpers)

install(TARGETS libmfx EXPORT libmfx-metrology-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/libmfx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT libmfx-metrology-targets NAMESPACE libmfx::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/libmfx-metrology)

configure_package_config_file(cmake/libmfx-metrology-config.cmake.in
  "${CMAKE_CURRENT_BINARY_DIR}/libmfx-metrology-config.cmake"
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/libmfx-metrology)
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/libmfx-metrology-config-version.cmake"
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/libmfx-metrology-config.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/libmfx-metrology-config-version.cmake"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/libmfx-metrology)

configure_file(cmake/libmfx-metrology.pc.in libmfx-metrology.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/libmfx-metrology.pc"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
