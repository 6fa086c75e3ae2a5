# Third-party libraries, all from Debian packages.
#
# zlib: the native package for Linux, libz-mingw-w64-dev for the Windows
# builds (found through the toolchain's sysroot).
# utfcpp, cpptoml and nlohmann-json (hdutil's JSON) are header-only. The
# MinGW compilers must not see the host's /usr/include (it holds glibc
# headers), so the few headers needed are linked into a private include
# folder inside the build tree.
find_package(ZLIB REQUIRED)

set(HDU_HEADER_ONLY_INCLUDE ${CMAKE_BINARY_DIR}/third_party/include)
file(MAKE_DIRECTORY ${HDU_HEADER_ONLY_INCLUDE})
foreach(entry utf8.h utf8 cpptoml.h nlohmann)
  if(NOT EXISTS /usr/include/${entry})
    message(FATAL_ERROR "/usr/include/${entry} is missing: run scripts/install-deps.sh")
  endif()
  if(NOT EXISTS ${HDU_HEADER_ONLY_INCLUDE}/${entry})
    file(CREATE_LINK /usr/include/${entry} ${HDU_HEADER_ONLY_INCLUDE}/${entry} SYMBOLIC)
  endif()
endforeach()

add_library(hdu_header_only_deps INTERFACE)
target_include_directories(hdu_header_only_deps SYSTEM INTERFACE $<BUILD_INTERFACE:${HDU_HEADER_ONLY_INCLUDE}>)
