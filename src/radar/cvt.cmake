# Converted radar report files: reading, report values and plotting.
target_sources(zor_radar PRIVATE rad_read.cpp rad_data.cpp rad_plot.cpp)
