# Print, metafile and image outputs of real plots, read back, and under faults.
zor_add_test(outputs_test outputs_test.cpp)
add_dependencies(outputs_test radar)
