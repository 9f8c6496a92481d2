# The radar program plotting a super-resolution NIDS product to PNG.
zor_add_bench(nids_plot_bench ${CMAKE_CURRENT_LIST_DIR}/nids_plot_bench.cpp)
target_compile_definitions(nids_plot_bench PRIVATE ZOR_RADAR_BINARY="$<TARGET_FILE:radar>")
add_dependencies(nids_plot_bench radar)
