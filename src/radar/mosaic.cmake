# National mosaics: NOWRad and KAVRAD decoding and plotting.
target_sources(zor_radar PRIVATE nowrad.cpp kavrad.cpp mosaic_plot.cpp)
