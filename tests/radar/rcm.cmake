# Radar coded messages: reading, printing, plotting.
zor_add_test(rcm_read_test rcm_read_test.cpp)
