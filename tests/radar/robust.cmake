# Readers of outside data against cut and damaged files, and the inputs the
# fuzzers once broke them with.
zor_add_test(robust_test robust_test.cpp)
target_link_libraries(robust_test PRIVATE zor_fuzz_entries)
target_compile_definitions(robust_test PRIVATE ZOR_FUZZ_CORPUS_DIR="${PROJECT_SOURCE_DIR}/fuzz/corpus")
