// Decoded values against an independent decoder's output (netCDF) for the
// same two products: azimuths and every bin value.
#include <gtest/gtest.h>
#include <netcdf.h>

#include <cmath>
#include <string>
#include <vector>

#include "nids_test_util.h"

using namespace nids_test;

namespace {

struct Oracle {
  std::vector<float> azimuth;
  std::vector<float> values;  // azimuth x gate
  std::size_t gates = 0;
};

Oracle read_oracle(const std::string& path, const char* var) {
  Oracle o;
  int nc, dim, id;
  if (nc_open(path.c_str(), NC_NOWRITE, &nc) != NC_NOERR) return o;
  std::size_t naz = 0;
  nc_inq_dimid(nc, "azimuth", &dim);
  nc_inq_dimlen(nc, dim, &naz);
  nc_inq_dimid(nc, "gate", &dim);
  nc_inq_dimlen(nc, dim, &o.gates);
  o.azimuth.resize(naz);
  o.values.resize(naz * o.gates);
  if (nc_inq_varid(nc, "azimuth", &id) == NC_NOERR) nc_get_var_float(nc, id, o.azimuth.data());
  if (nc_inq_varid(nc, var, &id) == NC_NOERR) nc_get_var_float(nc, id, o.values.data());
  nc_close(nc);
  return o;
}

// Compares all bins; `no_data` is what this decoder gives where the oracle
// has NaN (the levels it treats as missing), `offset` what it adds to the
// oracle's values.
void compare(const char* product, const char* var, float no_data, float offset) {
  const Oracle o = read_oracle(data_path(std::string(product) + ".nc"), var);
  ASSERT_FALSE(o.azimuth.empty()) << product;
  const std::vector<Radial> r = decode(data_path(product)).radials;
  ASSERT_EQ(r.size(), o.azimuth.size());
  std::size_t data = 0;
  for (std::size_t i = 0; i < r.size(); ++i) {
    EXPECT_NEAR(r[i].start, o.azimuth[i], 0.05) << product << " radial " << i;
    ASSERT_EQ(r[i].bins.size(), o.gates) << product << " radial " << i;
    for (std::size_t g = 0; g < o.gates; ++g) {
      const float want = o.values[i * o.gates + g];
      const float got = r[i].bins[g];
      if (std::isnan(want)) {
        EXPECT_EQ(got, no_data) << product << " radial " << i << " gate " << g;
      } else {
        EXPECT_NEAR(got, want + offset, 1e-3) << product << " radial " << i << " gate " << g;
        ++data;
      }
    }
  }
  EXPECT_GT(data, o.values.size() / 10) << "too few echoes to say anything";
}

// The 4-bit product's "no data" level (0x8002) decodes to -90, below the
// first real level, where the other decoder leaves it missing. The other
// decoder scales 8-bit data from byte 2 (-32 + (b - 2) x 0.5), this program
// from byte 0 (minimum + b x increment): 1 dBZ higher, as the colour levels
// expect.
TEST(NidsOracle, ReflectivityLevelsAgree) {
  compare("KBMX_SDUS54_N0RBMX_201501020205", "BaseReflectivity", -90.0f, 0.0f);
  compare("KBMX_SDUS54_N0QBMX_201501020205", "BaseReflectivityDR", -9999.0f, 1.0f);
}

}  // namespace
