# Installs the library from BUILD_DIR into a private stage, then builds and
# runs the consumer project against it, first through find_package, then with
# the flags pkg-config gives.
set(stage ${BUILD_DIR}/consumer-test/stage)
set(consumer_build ${BUILD_DIR}/consumer-test/build)
file(REMOVE_RECURSE ${BUILD_DIR}/consumer-test)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGV}")
  endif()
endfunction()

set(extra_flags "${CXX_FLAGS}")
if(SANITIZE)
  set(extra_flags "${extra_flags} -fsanitize=address,undefined")
endif()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${stage})
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${consumer_build} -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${stage} "-DCMAKE_CXX_FLAGS=${extra_flags}" "-DCMAKE_EXE_LINKER_FLAGS=-Wl,-rpath,${stage}/lib")
run(${CMAKE_COMMAND} --build ${consumer_build})
run(${consumer_build}/consumer)

# pkg-config: the .pc file holds the configured prefix, so point it at the stage.
find_program(PKG_CONFIG pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${stage}/lib/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --define-variable=prefix=${stage} --cflags --libs hd-Utilities
                OUTPUT_VARIABLE pc_flags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know hd-Utilities")
endif()
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(sanitize_flags UNIX_COMMAND "${extra_flags}")
run(c++ ${sanitize_flags} ${SOURCE_DIR}/consumer.cpp ${pc_flags} -Wl,-rpath,${stage}/lib -o ${BUILD_DIR}/consumer-test/consumer-pc)
run(${BUILD_DIR}/consumer-test/consumer-pc)

# The installed tool runs from the stage with no library path set (it finds
# the library through its relative run path), also after the whole stage has
# moved elsewhere.
if(EXISTS ${BUILD_DIR}/bin/hdutil)
  unset(ENV{LD_LIBRARY_PATH})
  set(moved ${BUILD_DIR}/consumer-test/moved)
  file(RENAME ${stage} ${moved})
  foreach(prefix ${moved} ${stage})
    execute_process(COMMAND ${prefix}/bin/hdutil inspect @sample OUTPUT_VARIABLE report ERROR_VARIABLE errors
                    RESULT_VARIABLE result)
    if(NOT result EQUAL 0 OR NOT report MATCHES "Namespace 5 \\(SavedSettingsData\\), 3 records")
      message(FATAL_ERROR "the installed hdutil in ${prefix} does not run (${result}): ${errors}")
    endif()
    if(prefix STREQUAL moved)
      file(RENAME ${moved} ${stage})
    endif()
  endforeach()
endif()

# Only the public headers are installed: every installed header compiles in
# one translation unit with nothing but the installed tree, so none of them
# includes a header left in the build; the cabinet seam is one of those.
set(headers ${stage}/include/hd-Utilities)
if(EXISTS ${headers}/Compression/CabinetPlatform.h OR EXISTS ${headers}/attributebytes/AttributeBytesWire.h)
  message(FATAL_ERROR "internal headers were installed")
endif()
file(GLOB_RECURSE installed_headers RELATIVE ${headers} ${headers}/*.h)
set(all_headers "")
foreach(header IN LISTS installed_headers)
  string(APPEND all_headers "#include \"${header}\"\n")
endforeach()
file(WRITE ${BUILD_DIR}/consumer-test/all_headers.cpp "${all_headers}int main() { return 0; }\n")
run(c++ -std=c++20 -fsyntax-only -I${headers} ${BUILD_DIR}/consumer-test/all_headers.cpp)
