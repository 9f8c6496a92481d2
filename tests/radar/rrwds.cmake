# RRWDS site images: decoding from bytes, frames of generated files on the
# in-memory raster, and the radar program.
zor_add_test(rrwds_decode_test rrwds_decode_test.cpp)
zor_add_test(rrwds_plot_test rrwds_plot_test.cpp)
target_link_libraries(rrwds_plot_test PRIVATE zor_mosaicgen)
target_include_directories(rrwds_plot_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
zor_add_test(rrwds_program_test rrwds_program_test.cpp)
target_link_libraries(rrwds_program_test PRIVATE zor_mosaicgen PNG::PNG)
add_dependencies(rrwds_program_test radar)
