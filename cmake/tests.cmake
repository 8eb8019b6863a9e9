# Every test is a process of its own, so that none hangs on what another left behind, and ctest tells
# what each takes. Under sanitizers the start of a test program takes a tenth of a second, most tests a
# hundredth: the preset `asan` runs up to eight tests of one suite in a process. What failed, or was
# running when the process died, stands by its name in the output that ctest shows.
option(LIBMFX_TEST_SUITES "Run the tests of a suite in one process" OFF)

# mfx_discover_tests(TARGET PROPERTY VALUE...)
function(mfx_discover_tests target)
  if(NOT LIBMFX_TEST_SUITES)
    gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST PROPERTIES ${ARGN})
    return()
  endif()
  set(list "${CMAKE_CURRENT_BINARY_DIR}/${target}_suites.cmake")
  file(GENERATE OUTPUT "${list}" CONTENT "set(program [[$<TARGET_FILE:${target}>]])
set(target ${target})
set(properties [[${ARGN}]])
include([[${PROJECT_SOURCE_DIR}/cmake/suites.cmake]])
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${list}")
endfunction()
