# The in-memory raster device and its scan converter.
target_sources(zor_gks PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/dev_mem.cpp
  ${CMAKE_CURRENT_LIST_DIR}/raster_canvas.cpp
)
