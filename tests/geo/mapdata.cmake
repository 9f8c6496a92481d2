# The bundled map files checked for conversion faults.
zor_add_test(map_data_test map_data_test.cpp)
target_compile_definitions(map_data_test PRIVATE ${ZOR_SOURCE_DATA_DEF})
