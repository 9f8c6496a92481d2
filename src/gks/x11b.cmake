# The X11 window's events, its pixel-replication zoom and the drawable of
# another program (the same device file serves both workstation types).
target_sources(zor_gks PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/gks_event.cpp
  ${CMAKE_CURRENT_LIST_DIR}/gks_zoom.cpp
)
