# NOWRad and KAVRAD mosaics: decoding from bytes, frames of generated files
# on the in-memory raster, and the radar program.
zor_add_test(mosaic_decode_test mosaic_decode_test.cpp)
zor_add_test(mosaic_plot_test mosaic_plot_test.cpp)
target_link_libraries(mosaic_plot_test PRIVATE zor_mosaicgen)
target_include_directories(mosaic_plot_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
zor_add_test(mosaic_program_test mosaic_program_test.cpp)
target_link_libraries(mosaic_program_test PRIVATE zor_mosaicgen PNG::PNG)
add_dependencies(mosaic_program_test radar)
zor_add_test(mosaic_overlay_test mosaic_overlay_test.cpp)
target_link_libraries(mosaic_overlay_test PRIVATE zor_mosaicgen)
target_include_directories(mosaic_overlay_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
