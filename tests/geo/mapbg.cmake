# Map background.
zor_add_test(map_draw_test map_draw_test.cpp)
target_include_directories(map_draw_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks ${PROJECT_SOURCE_DIR}/src/plot)
zor_add_test(map_cache_test map_cache_test.cpp)
target_include_directories(map_cache_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks ${PROJECT_SOURCE_DIR}/src/plot)
