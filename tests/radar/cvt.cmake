# Converted radar report files: reading, and frames on the in-memory raster.
zor_add_test(rad_read_test rad_read_test.cpp)
