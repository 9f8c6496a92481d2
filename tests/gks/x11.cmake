# The X11 window device under Xvfb.
zor_add_test(gks_x11_test ${CMAKE_CURRENT_LIST_DIR}/x11_test.cpp)
target_include_directories(gks_x11_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
zor_add_test(gks_x11_frame_test ${CMAKE_CURRENT_LIST_DIR}/x11_frame_test.cpp)
target_include_directories(gks_x11_frame_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
