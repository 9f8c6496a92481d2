# Radar coded messages: reading and plotting.
target_sources(zor_radar PRIVATE rcm_read.cpp rcm_plot.cpp)
