# RRWDS site images: decoding, and the radar program plotting one to PNG.
zor_add_bench(rrwds_bench ${CMAKE_CURRENT_LIST_DIR}/rrwds_bench.cpp)
target_compile_definitions(rrwds_bench PRIVATE ZOR_RADAR_BINARY="$<TARGET_FILE:radar>")
add_dependencies(rrwds_bench radar)
