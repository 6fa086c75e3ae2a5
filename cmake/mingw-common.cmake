# Shared part of the MinGW-w64 toolchain files.
#
# The -posix compilers use the POSIX thread model, which gives std::thread and
# std::mutex (the win32 model has neither). The C and C++ runtimes and
# winpthread are linked statically, so the DLL and the test programs import
# only system DLLs.
set(CMAKE_C_COMPILER ${HDU_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${HDU_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${HDU_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${HDU_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Prefer the static zlib so that the DLL does not depend on zlib1.dll.
set(ZLIB_USE_STATIC_LIBS ON)
set(ZLIB_LIBRARY /usr/${HDU_MINGW_TRIPLE}/lib/libz.a CACHE FILEPATH "zlib (static)")
set(ZLIB_INCLUDE_DIR /usr/${HDU_MINGW_TRIPLE}/include CACHE PATH "zlib headers")

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")
