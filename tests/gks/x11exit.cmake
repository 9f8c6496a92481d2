# The display's fatal conditions, provoked in a helper program run as a child
# process against the test's Xvfb.
add_executable(gks_x11_exit_helper ${CMAKE_CURRENT_LIST_DIR}/x11_exit_helper.cpp)
target_link_libraries(gks_x11_exit_helper PRIVATE zor_options zor_all X11::X11)
zor_add_test(gks_x11_exit_test ${CMAKE_CURRENT_LIST_DIR}/x11_exit_test.cpp)
add_dependencies(gks_x11_exit_test gks_x11_exit_helper)
target_compile_definitions(gks_x11_exit_test PRIVATE X11_EXIT_HELPER="$<TARGET_FILE:gks_x11_exit_helper>")
