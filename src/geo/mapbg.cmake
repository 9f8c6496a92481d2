# Map background.
target_sources(zor_geo PRIVATE map_draw.cpp)
