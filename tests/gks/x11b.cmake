# The X11 window's events, foreign drawable and object list under Xvfb.
zor_add_test(gks_x11_event_test ${CMAKE_CURRENT_LIST_DIR}/x11_event_test.cpp)
target_include_directories(gks_x11_event_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
