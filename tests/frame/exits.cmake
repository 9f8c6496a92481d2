# Runs of the radar program that must fail loudly, and outputs read back.
zor_add_test(honest_exits_test honest_exits_test.cpp)
add_dependencies(honest_exits_test radar)
