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

# The pkg-config file finds its prefix from where it lies, so that the installed tree can be moved or
# staged; folders that were given as absolute paths stay as they are.
foreach(folder LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    set(LIBMFX_PC_${folder} "${CMAKE_INSTALL_${folder}}")
  else()
    set(LIBMFX_PC_${folder} "\${prefix}/${CMAKE_INSTALL_${folder}}")
  endif()
endforeach()
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(LIBMFX_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" up "${up}")
  set(LIBMFX_PC_PREFIX "\${pcfiledir}/${up}")
endif()
configure_file(cmake/libmfx-metrology.pc.in libmfx-metrology.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/libmfx-metrology.pc"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The schemas, for editors and hosts that look for them on disk.
if(TARGET mfx)
  install(DIRECTORY schemas/ DESTINATION ${CMAKE_INSTALL_DATADIR}/libmfx-metrology/schema
          FILES_MATCHING PATTERN "*.json")
endif()

# The host tool finds its modules beside itself, wherever the tree lies.
if(TARGET mfx)
  set_target_properties(mfx PROPERTIES
    INSTALL_RPATH "$ORIGIN/${MFX_MODULES_FROM_BIN}"
    BUILD_WITH_INSTALL_RPATH ${MFX_MODULES_AS_INSTALLED})
  install(TARGETS mfx RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  foreach(module mfx_mesh_module mfx_adjustment_module)
    if(TARGET ${module})
      install(TARGETS ${module} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/libmfx-metrology)
    endif()
  endforeach()
  # Its manual pages and the completion of shells, which it prints itself. A build for another
  # machine cannot run it, and installs neither.
  if(NOT CMAKE_CROSSCOMPILING OR CMAKE_CROSSCOMPILING_EMULATOR)
    set(pages "${CMAKE_CURRENT_BINARY_DIR}/pages")
    add_custom_command(OUTPUT "${pages}.made"
      COMMAND ${CMAKE_COMMAND} "-DMFX=${CMAKE_CROSSCOMPILING_EMULATOR};$<TARGET_FILE:mfx>"
              "-DFOLDER=${pages}" -P "${CMAKE_CURRENT_SOURCE_DIR}/cmake/pages.cmake"
      COMMAND ${CMAKE_COMMAND} -E touch "${pages}.made"
      DEPENDS mfx "${CMAKE_CURRENT_SOURCE_DIR}/cmake/pages.cmake"
      COMMENT "Making the manual pages and completions of mfx" VERBATIM)
    add_custom_target(mfx_pages ALL DEPENDS "${pages}.made")
    install(DIRECTORY "${pages}/man1" DESTINATION ${CMAKE_INSTALL_MANDIR})
    install(DIRECTORY "${pages}/share/" DESTINATION ${CMAKE_INSTALL_DATADIR})
  endif()
endif()
