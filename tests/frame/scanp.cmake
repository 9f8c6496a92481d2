zor_add_test(test_scanp scanp_test.cpp)
