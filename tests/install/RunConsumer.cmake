# Installs the built library into WORK_DIR/prefix, then configures, builds and runs a
# host that finds it with find_package(Core2DImage) and checks the pkg-config file.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  message(STATUS "${out}")
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)

file(GLOB_RECURSE pc_files ${prefix}/*/core2dimage.pc)
if(NOT pc_files)
  message(FATAL_ERROR "core2dimage.pc was not installed")
endif()
file(READ ${pc_files} pc)
if(NOT pc MATCHES "-lcore2dimage")
  message(FATAL_ERROR "core2dimage.pc does not link the library:\n${pc}")
endif()

# The consumer compiled the umbrella header from the install; the library's own
# headers must not be there.
file(GLOB_RECURSE internal_headers ${prefix}/*/internal/*.h)
if(internal_headers)
  message(FATAL_ERROR "internal headers were installed: ${internal_headers}")
endif()
