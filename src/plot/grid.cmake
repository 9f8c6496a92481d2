# Grids drawn through the fill levels, and the netCDF helpers.
target_sources(zor_plot PRIVATE grd.cpp ncf.cpp)
target_link_libraries(zor_plot PUBLIC PkgConfig::NETCDF)
