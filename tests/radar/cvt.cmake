# Converted radar report files: reading, and frames on the in-memory raster.
zor_add_test(rad_read_test rad_read_test.cpp)
zor_add_test(rad_plot_test rad_plot_test.cpp)
target_include_directories(rad_plot_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
add_dependencies(rad_plot_test radar)
