# Map background.
target_sources(zor_geo PRIVATE map_draw.cpp map_draw_list.cpp map_draw_file.cpp map_draw_lines.cpp)
