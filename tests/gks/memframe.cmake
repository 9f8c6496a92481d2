# Frames on the in-memory raster device against the X11 window under Xvfb.
zor_add_test(gks_mem_frame_test ${CMAKE_CURRENT_LIST_DIR}/mem_frame_test.cpp)
target_include_directories(gks_mem_frame_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
