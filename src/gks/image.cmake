# Image records, capture and the GIF, PNG and XWD writers.
target_sources(zor_gks PRIVATE ${CMAKE_CURRENT_LIST_DIR}/img_write.cpp ${CMAKE_CURRENT_LIST_DIR}/img_read.cpp ${CMAKE_CURRENT_LIST_DIR}/img_overlay.cpp)
