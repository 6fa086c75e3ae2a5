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
