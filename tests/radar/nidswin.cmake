# The NIDS plot in a window under Xvfb, through the real program.
zor_add_test(nids_window_test nids_window_test.cpp)
add_dependencies(nids_window_test radar)
