# The in-memory raster device.
zor_add_test(gks_mem_test ${CMAKE_CURRENT_LIST_DIR}/mem_test.cpp)
target_include_directories(gks_mem_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
# The scan converter and the memory device against the X server's own
# drawing under Xvfb.
find_package(X11 QUIET)
if(X11_FOUND)
  zor_add_test(gks_mem_raster_test ${CMAKE_CURRENT_LIST_DIR}/mem_raster_test.cpp)
  target_include_directories(gks_mem_raster_test PRIVATE ${PROJECT_SOURCE_DIR}/src/gks)
  target_link_libraries(gks_mem_raster_test PRIVATE X11::X11)
endif()
