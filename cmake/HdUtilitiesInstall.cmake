# Install rules: the library, its public headers (with the folder layout
# kept, so that consumers include "LowLevelFacilities/CPString.h" as the
# library does), the tools, a CMake package (find_package(hdUtilities) gives
# hdUtilities::hd-Utilities) and a pkg-config file (hd-Utilities.pc).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS hd-Utilities EXPORT hdUtilitiesTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

# Headers: only the public ones. A header is public when it declares
# something the library exports (HDU_API), when an exported header includes
# it, or when it is a header-only part of the interface (HldUniquePtr.h).
# A header is internal when it declares nothing exported and only the
# library's own sources include it: platform seams and the helpers of one
# subsystem, which may include third-party internals (utfcpp's core, the
# cabinet SDK). Internal headers are listed here and stay in the build; so do
# the headers of the other platform's Win/ or Posix/ folders, and outside
# Windows the Windows-only subsystems (Registry/). Every other header is
# installed. The installed-consumer test compiles every installed
# header in one translation unit against the installed tree alone, so an
# installed header that includes an internal one fails there.
set(HDU_INTERNAL_HEADERS
  Compression/CabinetPlatform.h
  Compression/Win/CabinetCallbacks.h
  LowLevelFacilities/AsciiBlocks.h
  LowLevelFacilities/CPStringWalkers.h
  LowLevelFacilities/Utf8CheckedDecoding.h
  LowLevelFacilities/WideCodeUnit.h
  attributebytes/AttributeBytesWire.h)
if(WIN32)
  set(hdu_other_platform_folder Posix)
  set(hdu_windows_only_pattern "^$")
else()
  set(hdu_other_platform_folder Win)
  set(hdu_windows_only_pattern "^Registry/")
endif()
file(GLOB_RECURSE hdu_headers RELATIVE ${PROJECT_SOURCE_DIR}/UtilitiesDll CONFIGURE_DEPENDS
     ${PROJECT_SOURCE_DIR}/UtilitiesDll/*.h)
foreach(header IN LISTS hdu_headers)
  if(header IN_LIST HDU_INTERNAL_HEADERS OR header MATCHES "(^|/)${hdu_other_platform_folder}/"
     OR header MATCHES "${hdu_windows_only_pattern}")
    continue()
  endif()
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/UtilitiesDll/${header}
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hd-Utilities/${folder})
endforeach()
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

# Executables: programs installed into bin find the library through a run
# path relative to themselves ($ORIGIN/../lib), so that an installed tree
# works wherever it is put, with no library path set. On Windows the DLL is
# installed beside them, in bin.
file(RELATIVE_PATH hdu_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
foreach(executable hdutil)
  if(TARGET ${executable})
    if(NOT WIN32)
      set_target_properties(${executable} PROPERTIES INSTALL_RPATH "\$ORIGIN/${hdu_bin_to_lib}")
    endif()
    install(TARGETS ${executable} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()

configure_file(${PROJECT_SOURCE_DIR}/cmake/hd-Utilities.pc.in ${CMAKE_BINARY_DIR}/hd-Utilities.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/hd-Utilities.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
