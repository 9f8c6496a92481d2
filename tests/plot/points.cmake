# Point data: wind symbols, the point plotter, variable descriptions, watch boxes.
zor_add_test(wind_test wind_test.cpp)
target_include_directories(wind_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
zor_add_test(watch_test watch_test.cpp)
target_include_directories(watch_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
zor_add_test(var_test var_test.cpp)
zor_add_test(raw_test raw_test.cpp)
target_include_directories(raw_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
