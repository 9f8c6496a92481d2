# The X11 window on an 8-bit PseudoColor Xvfb screen.
zor_add_test(gks_x11_visual_test ${CMAKE_CURRENT_LIST_DIR}/x11_visual_test.cpp)
target_include_directories(gks_x11_visual_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
