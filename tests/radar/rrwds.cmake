# RRWDS site images: decoding from bytes, frames of generated files on the
# in-memory raster, and the radar program.
zor_add_test(rrwds_decode_test rrwds_decode_test.cpp)
target_link_libraries(rrwds_decode_test PRIVATE zor_mosaicgen)
