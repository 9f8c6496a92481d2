# NIDS plotting: plot sequence, symbology layer, graphic-page layer.
target_sources(zor_radar PRIVATE nids_plot.cpp nids_plot_symb.cpp nids_plot_extra.cpp)
