# Plot frame, labels, fill levels and the colour bar.
zor_add_test(cont_test cont_test.cpp)
