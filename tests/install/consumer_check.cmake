# Installs the built library into a fresh prefix, then configures, builds and runs a consumer
# project that uses only find_package(qvBase), and builds and runs the same program with the
# flags of pkg-config. A sanitizer build passes its flags on, since the consumer must load the
# sanitizer runtime first.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}")
  endif()
endfunction()
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build"
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_BUILD_TYPE=Release
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
message(STATUS "consumer project built and ran against ${prefix}")

# The same program built with the flags pkg-config gives for the installed qvBase.pc.
find_program(PKG_CONFIG NAMES pkg-config pkgconf)
if(NOT PKG_CONFIG)
  message(STATUS "pkg-config is not installed: the pkg-config consumer is not checked")
  return()
endif()
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs qvBase RESULT_VARIABLE rc
                OUTPUT_VARIABLE flags ERROR_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "pkg-config --cflags --libs qvBase failed: ${flags}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(extra UNIX_COMMAND "${CXX_FLAGS} ${LINKER_FLAGS}")
run(${CXX_COMPILER} -std=c++17 ${extra} "${CONSUMER_DIR}/main.cpp" -o "${WORK_DIR}/pkg-consumer"
    ${flags} "-Wl,-rpath,${prefix}/${LIBDIR}")
run("${WORK_DIR}/pkg-consumer")
message(STATUS "pkg-config consumer built and ran: ${flags}")
