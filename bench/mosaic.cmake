# The radar program plotting a full fine-grid KAVRAD mosaic to PNG.
zor_add_bench(mosaic_plot_bench ${CMAKE_CURRENT_LIST_DIR}/mosaic_plot_bench.cpp)
target_link_libraries(mosaic_plot_bench PRIVATE zor_mosaicgen)
target_compile_definitions(mosaic_plot_bench PRIVATE ZOR_RADAR_BINARY="$<TARGET_FILE:radar>")
add_dependencies(mosaic_plot_bench radar)
