# The window workstation's frames, zoom and direct-colour overlays, on the
# X11 device under Xvfb and on the memory raster.
zor_add_test(gks_window_frames_test ${CMAKE_CURRENT_LIST_DIR}/window_frames_test.cpp)
target_include_directories(gks_window_frames_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
target_link_libraries(gks_window_frames_test PRIVATE PNG::PNG)
