include(CMakePackageConfigHelpers)

install(TARGETS zev_vqm_p4 zev_core EXPORT zevTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/zev DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_BINARY_DIR}/include/zev DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        OPTIONAL)
install(EXPORT zevTargets NAMESPACE zev:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zev)

configure_package_config_file(cmake/zevConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zevConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zev)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zevConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zevConfig.cmake ${PROJECT_BINARY_DIR}/zevConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zev)

# The pkg-config file finds its prefix from its own place, so the tree can move.
file(RELATIVE_PATH ZEV_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/zev.pc.in ${PROJECT_BINARY_DIR}/zev.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zev.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
