# Direct-colour PNG overlays on the window under Xvfb and in memory.
zor_add_test(gks_img_overlay_rgb_test ${CMAKE_CURRENT_LIST_DIR}/img_overlay_rgb_test.cpp)
target_include_directories(gks_img_overlay_rgb_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
target_link_libraries(gks_img_overlay_rgb_test PRIVATE PNG::PNG)
