# Point data: wind symbols, the point plotter and the watch boxes.
target_sources(zor_plot PRIVATE raw.cpp watch.cpp wind.cpp)
