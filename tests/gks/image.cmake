# The image writers read back by independent decoders.
zor_add_test(gks_img_write_test ${CMAKE_CURRENT_LIST_DIR}/img_write_test.cpp)
target_link_libraries(gks_img_write_test PRIVATE PNG::PNG)
# The image readers: round trips and damaged files.
zor_add_test(gks_img_read_test ${CMAKE_CURRENT_LIST_DIR}/img_read_test.cpp)
