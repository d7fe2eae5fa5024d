# cmake -P script: install, then build and run a client of the installed library.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGN}\n${out}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

# Fails with `what` and the text unless `text` holds every one of the other arguments.
function(expect_in what text)
  foreach(expected IN LISTS ARGN)
    string(FIND "${text}" "${expected}" at)
    if(at EQUAL -1)
      message(FATAL_ERROR "${what} lacks \"${expected}\":\n${text}")
    endif()
  endforeach()
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

# What gets installed must exist; a no-op when the build is current.
run(${CMAKE_COMMAND} --build ${BUILD_DIR} --target norvane norvanectl norvanectl_docs)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(installed include/norvane/norvane.h include/norvane/utils/Log.h include/norvane/NorvaneVersion.h
                  include/norvane/utils/Exceptions.h include/norvane/launcher/Preferences.h ${BINDIR}/norvanectl
                  share/doc/libnorvane/LICENSE share/doc/libnorvane/CHANGELOG.md share/doc/libnorvane/README.md
                  share/man/man1/norvanectl.1 share/bash-completion/completions/norvanectl)
  if(NOT EXISTS ${prefix}/${installed})
    message(FATAL_ERROR "not installed: ${installed}")
  endif()
endforeach()
file(READ ${prefix}/include/norvane/norvane.h umbrella)
expect_in("the umbrella header" "${umbrella}" "#include <NorvaneVersion.h>")

# The installed tool finds the installed library by its run path alone.
unset(ENV{LD_LIBRARY_PATH})
function(expect_installed_tool tool_prefix)
  run(${tool_prefix}/${BINDIR}/norvanectl --version)
  if(NOT run_output STREQUAL "norvanectl (libnorvane) ${VERSION}\n")
    message(FATAL_ERROR "${tool_prefix}/${BINDIR}/norvanectl --version printed: ${run_output}")
  endif()
  run(ldd ${tool_prefix}/${BINDIR}/norvanectl)
  if(NOT run_output MATCHES "libnorvane\\.so\\.[0-9]+ => ([^ ]+) ")
    message(FATAL_ERROR "ldd does not resolve libnorvane:\n${run_output}")
  endif()
  file(REAL_PATH "${CMAKE_MATCH_1}" found)
  file(REAL_PATH "${tool_prefix}/${LIBDIR}" expected_dir)
  get_filename_component(found_dir "${found}" DIRECTORY)
  if(NOT found_dir STREQUAL expected_dir)
    message(FATAL_ERROR "norvanectl under ${tool_prefix} loads ${found}")
  endif()
endfunction()
expect_installed_tool(${prefix})

# A client through the CMake package.
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/consumer-build
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer-build)
run(${WORK_DIR}/consumer-build/consumer ${WORK_DIR}/run)
expect_in("the client's output" "${run_output}" "File : consumer.cpp Line : 12 Exception : Unknown exception"
          "| Info      : consumer says hello")

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
# A client built with -DDEBUG is told what clashes, not left with an error deep in a header.
file(WRITE ${WORK_DIR}/debug_macro.cpp "#include <norvane.h>\n")
execute_process(COMMAND ${CXX_COMPILER} -DDEBUG -fsyntax-only ${WORK_DIR}/debug_macro.cpp ${flag_list}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(status EQUAL 0 OR NOT out MATCHES "the macro DEBUG clashes with the log level utils::DEBUG")
  message(FATAL_ERROR "a client with -DDEBUG got (${status}):\n${out}")
endif()
# The README's example, as printed there: its CMakeLists.txt and example.cpp.
function(readme_block name out)
  file(READ ${README} text)
  set(marker "<!-- compiled by tests/package: ${name} -->\n")
  string(FIND "${text}" "${marker}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "README.md has no block marked ${name}")
  endif()
  string(LENGTH "${marker}" marker_length)
  math(EXPR at "${at} + ${marker_length}")
  string(SUBSTRING "${text}" ${at} -1 text)
  string(FIND "${text}" "\n" fence_end)            # the opening fence line
  math(EXPR fence_end "${fence_end} + 1")
  string(SUBSTRING "${text}" ${fence_end} -1 text)
  string(FIND "${text}" "\n```" block_end)
  math(EXPR block_end "${block_end} + 1")
  string(SUBSTRING "${text}" 0 ${block_end} text)
  file(WRITE ${out} "${text}")
endfunction()
set(example ${WORK_DIR}/readme-example)
readme_block(CMakeLists.txt ${example}/CMakeLists.txt)
readme_block(example.cpp ${example}/example.cpp)
run(${CMAKE_COMMAND} -S ${example} -B ${example}/build
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    -DCMAKE_BUILD_RPATH=${prefix}/${LIBDIR})
run(${CMAKE_COMMAND} --build ${example}/build)
set(store ${WORK_DIR}/example-store)
set(home ${WORK_DIR}/example-home)
file(MAKE_DIRECTORY ${home})
run(${prefix}/${BINDIR}/norvanectl --store-root ${store} set-home ${home})
run(${example}/build/example ${store})
# (Its first line holds a ';', which a list of texts would split.)
string(FIND "${run_output}" "libnorvane ${VERSION}; log file ${home}/logs/norvane.txt\n" at)
if(at EQUAL -1)
  message(FATAL_ERROR "the README example printed:\n${run_output}")
endif()
expect_in("the README example's output" "${run_output}" "\nuser: admin\n")
file(READ ${home}/logs/norvane.txt log)
expect_in("the README example's log" "${log}" " | Info      : session timeout is 180 s\n"
          " | Warning   : disk sda is 93% full\n" " | Error     : a 100% real error line\n")

# A moved installation still runs.
file(RENAME ${prefix} ${WORK_DIR}/moved)
expect_installed_tool(${WORK_DIR}/moved)
message(STATUS "installed package builds and runs clients")
