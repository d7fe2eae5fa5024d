# cmake -P script: install, then build and run a client of the installed library.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGN}\n${out}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

# What gets installed must exist; a no-op when the build is current.
run(${CMAKE_COMMAND} --build ${BUILD_DIR} --target norvane norvanectl)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(installed include/norvane/norvane.h include/norvane/utils/Log.h
                  include/norvane/utils/Exceptions.h include/norvane/launcher/Preferences.h)
  if(NOT EXISTS ${prefix}/${installed})
    message(FATAL_ERROR "not installed: ${installed}")
  endif()
endforeach()

# A client through the CMake package.
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/consumer-build
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer-build)
run(${WORK_DIR}/consumer-build/consumer ${WORK_DIR}/run)
foreach(expected "File : consumer.cpp Line : 12 Exception : Unknown exception"
                 "| Info      : consumer says hello")
  string(FIND "${run_output}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "client output lacks \"${expected}\":\n${run_output}")
  endif()
endforeach()

# The same library through pkg-config.
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
find_program(PKG_CONFIG pkg-config REQUIRED)
run(${PKG_CONFIG} --cflags --libs norvane)
string(STRIP "${run_output}" flags)
# The flags name the prefix through the .pc file's own place; compare real paths.
if(NOT flags MATCHES "-I([^ ]+) .*-L([^ ]+) -lnorvane")
  message(FATAL_ERROR "unexpected pkg-config flags: ${flags}")
endif()
file(REAL_PATH "${CMAKE_MATCH_1}" include_dir)
file(REAL_PATH "${CMAKE_MATCH_2}" lib_dir)
file(REAL_PATH "${prefix}" real_prefix)
if(NOT include_dir STREQUAL "${real_prefix}/include/norvane" OR NOT lib_dir STREQUAL "${real_prefix}/${LIBDIR}")
  message(FATAL_ERROR "pkg-config points elsewhere: ${flags}")
endif()
separate_arguments(flag_list UNIX_COMMAND "${flags}")
run(${CXX_COMPILER} ${CONSUMER_DIR}/pkgconfig_probe.cpp ${flag_list} -Wl,-rpath,${prefix}/${LIBDIR}
    -o ${WORK_DIR}/pkgconfig_probe)
run(${WORK_DIR}/pkgconfig_probe)
if(NOT run_output MATCHES "status 9")
  message(FATAL_ERROR "pkg-config client printed: ${run_output}")
endif()
message(STATUS "installed package builds and runs clients")
