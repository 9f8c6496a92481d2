include(GoogleTest)

# zor_add_test(<name> <sources...>): one GoogleTest binary linked against the
# whole system, with the repository's test data and runtime data directories
# compiled in and every test registered with CTest.
function(zor_add_test name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE zor_options zor_all GTest::gtest GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
    ZOR_TEST_DATA_DIR="${PROJECT_SOURCE_DIR}/tests/data"
    ZOR_TEST_BINARY_DIR="${CMAKE_CURRENT_BINARY_DIR}"
    ZOR_RADAR_BINARY="$<TARGET_FILE:radar>")
  gtest_discover_tests(${name} WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
    DISCOVERY_TIMEOUT 60)
endfunction()
