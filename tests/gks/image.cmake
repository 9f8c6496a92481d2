# The image writers read back by independent decoders, and the readers on
# round trips and damaged files.
zor_add_test(gks_img_test ${CMAKE_CURRENT_LIST_DIR}/img_test.cpp)
target_link_libraries(gks_img_test PRIVATE PNG::PNG)
