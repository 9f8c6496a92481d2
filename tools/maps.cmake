# Map files from GSHHG and DCW (regenerating data/*.map).
add_executable(make_maps make_maps/make_maps.cpp)
target_link_libraries(make_maps PRIVATE zor_options PkgConfig::NETCDF)
