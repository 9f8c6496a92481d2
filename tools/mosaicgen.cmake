# Mosaic files from described patterns, for the tests and the benchmark.
add_library(zor_mosaicgen STATIC mosaicgen/mosaic_gen.cpp)
target_link_libraries(zor_mosaicgen PUBLIC zor_options zor_all)
target_include_directories(zor_mosaicgen PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/mosaicgen)
add_executable(mosaicgen mosaicgen/main.cpp)
target_link_libraries(mosaicgen PRIVATE zor_options zor_mosaicgen)
