# zv_add_test(<target> SOURCES ... LIBS ... [TIMEOUT seconds]): a GoogleTest program whose cases are
# registered with ctest one by one. Under the Windows preset they run through tools/wine_run.
if(ZV_BUILD_TESTS)
  if(WIN32)
    add_subdirectory(/usr/src/googletest "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
  else()
    find_package(GTest REQUIRED)
  endif()
  include(GoogleTest)
endif()

function(zv_add_test target)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${target} ${ARG_SOURCES})
  # Tests are compiled far more often than they run: their own code is not worth optimising.
  target_compile_options(${target} PRIVATE -O0)
  target_link_libraries(${target} PRIVATE zv_flags ${ARG_LIBS} GTest::gtest_main GTest::gmock)
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
                       PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()
