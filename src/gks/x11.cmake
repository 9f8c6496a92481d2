# The X11 window device.
find_package(X11 REQUIRED)
target_sources(zor_gks PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/dev_x11.cpp
  ${CMAKE_CURRENT_LIST_DIR}/gks_frame.cpp
  ${CMAKE_CURRENT_LIST_DIR}/gks_objlist.cpp
)
target_link_libraries(zor_gks PUBLIC X11::X11)
