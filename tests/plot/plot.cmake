# Plot frame, labels, fill levels and the colour bar.
zor_add_test(cont_test cont_test.cpp)
zor_add_test(plt_label_test plt_label_test.cpp)
zor_add_test(plt_test plt_test.cpp)
target_include_directories(plt_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
zor_add_test(plt_batch_test plt_batch_test.cpp)
target_include_directories(plt_batch_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
