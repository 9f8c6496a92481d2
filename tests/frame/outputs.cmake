# Runs of the radar program: outputs read back, under faults, and honest exits.
zor_add_test(outputs_test outputs_test.cpp)
add_dependencies(outputs_test radar)
