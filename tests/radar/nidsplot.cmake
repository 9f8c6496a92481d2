# NIDS plotting: frames on the in-memory raster, and the radar program.
zor_add_test(nids_plot_test nids_plot_test.cpp)
target_include_directories(nids_plot_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
zor_add_test(nids_plot_program_test nids_plot_program_test.cpp)
add_dependencies(nids_plot_program_test radar)
# Products of today's radars, non-products refused, the newer packets.
zor_add_test(nids_fidelity_test nids_fidelity_test.cpp)
add_dependencies(nids_fidelity_test radar)
# Radar and product names, bar names, range-folded velocity.
zor_add_test(nids_readability_test nids_readability_test.cpp)
