# Radar coded messages: reading, printing, plotting.
zor_add_test(rcm_read_test rcm_read_test.cpp)
zor_add_test(rcm_plot_test rcm_plot_test.cpp)
target_include_directories(rcm_plot_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
zor_add_test(rcm_program_test rcm_program_test.cpp)
add_dependencies(rcm_program_test radar)
