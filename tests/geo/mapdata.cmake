# The bundled map files checked for conversion faults.
zor_add_test(map_data_test map_data_test.cpp)
