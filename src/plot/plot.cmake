# Plot frame, corner labels, fill levels and the colour bar.
target_sources(zor_plot PRIVATE cont.cpp plt.cpp plt_label.cpp plt_seq.cpp)
