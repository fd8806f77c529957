# What cmake --install puts in place: header, libraries, a pkg-config file and
# a CMake package with the targets zylqx::zylqx and zylqx::zylqx_static.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zylqx)
install(TARGETS zylqx zylqx_static EXPORT zylqx)
install(FILES include/zylqx.h include/zylqx.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zylqx NAMESPACE zylqx:: FILE zylqxConfig.cmake DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zylqxConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zylqxConfigVersion.cmake DESTINATION ${package_dir})

# The prefix is found from where the file lies, so that an installed copy may be
# moved.
file(RELATIVE_PATH ZYLQX_PREFIX_FROM_PC
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/zylqx.pc.in zylqx.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zylqx.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
