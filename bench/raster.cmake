# Drawing a full sweep of filled cells on the in-memory device and on Xvfb.
zor_add_bench(raster_bench ${CMAKE_CURRENT_LIST_DIR}/raster_bench.cpp)
target_include_directories(raster_bench PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
