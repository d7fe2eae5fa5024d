# Helpers for the per-area CMakeLists.txt files under tests/, bench/ and fuzz/.

# norvane_add_test(<name> SOURCES <files...> [LIBS <targets...>] [LABELS <labels...>]
#                  [PROPERTIES <name value...>])
# One GoogleTest executable linked with the library and the test support code;
# its tests are discovered by ctest with the labels given (for example
# "concurrency", which the ThreadSanitizer run selects) and any further test
# properties (for example FIXTURES_REQUIRED).
function(norvane_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS;PROPERTIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_compile_options(${name} PRIVATE -Wall -Wextra)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE norvane_internal norvane_test_support GTest::gtest GTest::gmock Threads::Threads ${ARG_LIBS})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 300 ${ARG_PROPERTIES})
endfunction()

# norvane_add_bench(<name> SOURCES <files...> [LIBS <targets...>])
function(norvane_add_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/bench)
  target_link_libraries(${name} PRIVATE norvane_internal benchmark::benchmark Threads::Threads ${ARG_LIBS})
endfunction()

# norvane_add_fuzz(<name> SOURCES <files...> [LIBS <targets...>])
function(norvane_add_fuzz name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_libraries(${name} PRIVATE norvane_internal ${ARG_LIBS})
endfunction()

# Adds every direct subdirectory of <dir> that has a CMakeLists.txt.
function(norvane_add_area_subdirectories dir)
  file(GLOB children RELATIVE ${dir} ${dir}/*)
  list(SORT children)
  foreach(child IN LISTS children)
    if(IS_DIRECTORY ${dir}/${child} AND EXISTS ${dir}/${child}/CMakeLists.txt)
      add_subdirectory(${dir}/${child})
    endif()
  endforeach()
endfunction()
