# The colour bar's flash watched on a colormap display.
zor_add_test(flash_test flash_test.cpp)
target_include_directories(flash_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
