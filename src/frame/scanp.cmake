# The pattern scanner of coded text (radar coded messages).
target_sources(zor_frame PRIVATE scanp.cpp)
