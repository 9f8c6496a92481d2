# A whole batch plot scene: maps, lat/lon lines, bar, labels, ring, watch box.
zor_add_test(plot_scene_test plot_scene_test.cpp)
target_include_directories(plot_scene_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
