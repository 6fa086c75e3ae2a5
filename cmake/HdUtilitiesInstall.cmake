# Install rules: the library, its headers (with the folder layout kept, so
# that consumers include "LowLevelFacilities/CPString.h" as the library does),
# a CMake package (find_package(hdUtilities) gives hdUtilities::hd-Utilities)
# and a pkg-config file (hd-Utilities.pc).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS hd-Utilities EXPORT hdUtilitiesTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/UtilitiesDll/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hd-Utilities
  FILES_MATCHING PATTERN "*.h")
install(FILES ${CMAKE_BINARY_DIR}/generated/hdUtilitiesExport.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hd-Utilities)

install(EXPORT hdUtilitiesTargets
  NAMESPACE hdUtilities::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/hdUtilities)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/hdUtilitiesConfig.cmake.in
  ${CMAKE_BINARY_DIR}/hdUtilitiesConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/hdUtilities)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/hdUtilitiesConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/hdUtilitiesConfig.cmake ${CMAKE_BINARY_DIR}/hdUtilitiesConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/hdUtilities)

configure_file(${PROJECT_SOURCE_DIR}/cmake/hd-Utilities.pc.in ${CMAKE_BINARY_DIR}/hd-Utilities.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/hd-Utilities.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
