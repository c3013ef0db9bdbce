# cmake -DBUILD_DIR=... -DWORK_DIR=... -DCONSUMER_DIR=... -DC_COMPILER=... -DGENERATOR=...
#       [-DSANITIZE=...] -P InstalledPackageTest.cmake
#
# Installs BUILD_DIR into WORK_DIR/prefix, then builds the consumer against
# that tree twice, with find_package(ZeLutEffect) and with pkg-config, and
# runs both programs.
cmake_minimum_required(VERSION 3.22)

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}\n${err}")
  endif()
  set(RUN_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run("cmake --install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

file(GLOB_RECURSE library ${prefix}/*/libZeLutEffect.so)
file(GLOB_RECURSE pcfile ${prefix}/*/pkgconfig/ZeLutEffect.pc)
file(GLOB_RECURSE config ${prefix}/*/cmake/ZeLutEffect/ZeLutEffectConfig.cmake)
foreach(installed library pcfile config)
  if(NOT ${installed})
    message(FATAL_ERROR "cmake --install left no ${installed} in ${prefix}")
  endif()
endforeach()
foreach(header ZeLut3D.h ZeGlobal.h)
  if(NOT EXISTS ${prefix}/include/ZeLutEffect/${header})
    message(FATAL_ERROR "cmake --install left no include/ZeLutEffect/${header}")
  endif()
endforeach()
get_filename_component(libdir ${library} DIRECTORY)

# The installed library: a versioned name, no run path into the build host's
# folders (none at all), and no debug information.
find_program(READELF NAMES readelf REQUIRED)
run("readelf" ${READELF} -d -S -W ${library})
if(NOT RUN_OUTPUT MATCHES "Library soname: \\[libZeLutEffect\\.so\\.1\\]")
  message(FATAL_ERROR "the installed library has no versioned SONAME:\n${RUN_OUTPUT}")
endif()
if(RUN_OUTPUT MATCHES "(RUNPATH|RPATH)")
  message(FATAL_ERROR "the installed library carries a run path:\n${RUN_OUTPUT}")
endif()
if(RUN_OUTPUT MATCHES "\\.debug_info")
  message(FATAL_ERROR "the installed library carries debug information")
endif()

# The consumers' table, every colour to white, through the installed tool.
set(white_cube "LUT_3D_SIZE 2\n")
foreach(i RANGE 7)
  string(APPEND white_cube "1 1 1\n")
endforeach()
file(WRITE ${WORK_DIR}/white.cube "${white_cube}")
run("zelut convert" ${prefix}/bin/zelut convert ${WORK_DIR}/white.cube ${WORK_DIR}/white.lut)
get_filename_component(pcdir ${pcfile} DIRECTORY)

# A consumer of an instrumented library is built with the same sanitizers.
# Clang keeps the C++ parts of their runtime out of a C program's link unless
# asked; the library's C++ code needs them.
set(flags "")
set(cxx_runtime "")
set(link_cxx_runtime OFF)
if(SANITIZE)
  set(flags "-fsanitize=${SANITIZE}")
  if(C_COMPILER MATCHES "clang")
    set(cxx_runtime -fsanitize-link-c++-runtime -lstdc++)
    set(link_cxx_runtime ON)
  endif()
endif()

# With the CMake package.
run("configuring the consumer with find_package"
  ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/cmake-build -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_C_COMPILER=${C_COMPILER}
  -DCMAKE_C_FLAGS=${flags} -DCMAKE_EXE_LINKER_FLAGS=${flags}
  -DCONSUMER_LINK_SANITIZER_CXX_RUNTIME=${link_cxx_runtime})
run("building the consumer with find_package" ${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run("running the find_package consumer" ${WORK_DIR}/cmake-build/consumer ${WORK_DIR}/white.lut)
message(STATUS "find_package: ${RUN_OUTPUT}")

# With pkg-config.
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
run("pkg-config" ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pcdir}
  ${PKG_CONFIG} --cflags --libs ZeLutEffect)
separate_arguments(pcflags UNIX_COMMAND "${RUN_OUTPUT}")
separate_arguments(sanitize UNIX_COMMAND "${flags}")
run("building the consumer with pkg-config" ${C_COMPILER} -std=c99 -Wall -Werror ${sanitize}
  ${CONSUMER_DIR}/consumer.c ${pcflags} ${cxx_runtime} -o ${WORK_DIR}/pc-consumer)
run("running the pkg-config consumer"
  ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libdir} ${WORK_DIR}/pc-consumer ${WORK_DIR}/white.lut)
message(STATUS "pkg-config: ${RUN_OUTPUT}")
