# Whole-process times of radar and nidsdump (start-up, plots, loops, dumps).
zor_add_bench(process_bench ${CMAKE_CURRENT_LIST_DIR}/process_bench.cpp)
target_compile_definitions(process_bench PRIVATE ZOR_RADAR_BINARY="$<TARGET_FILE:radar>"
                                                 ZOR_NIDSDUMP_BINARY="$<TARGET_FILE:nidsdump>"
                                                 ZOR_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
add_dependencies(process_bench radar nidsdump)
