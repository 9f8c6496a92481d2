// A batch plot without a display, as the plot, map, watch and NIDS frame
// tests run one: DISPLAY names a server that cannot exist, so the plot draws
// on the in-memory raster; the plot frame, fill levels and labels start
// fresh, and the kernel, colours, flags and DISPLAY are put back afterwards.
// Tests hold one for the length of a test (std::optional in the fixture).
#pragma once

#include <cstdlib>
#include <string>

#include "device.h"
#include "files.h"
#include "gks_kernel.h"
#include "zor/cont.h"
#include "zor/dom.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/map.h"
#include "zor/plt.h"

namespace zor::plt {
void reset();
}
namespace zor::cont {
void reset();
}
namespace zor::clr {
void reset();
}

namespace zor::test {

class BatchPlot {
 public:
  BatchPlot() {
    zor::plt::reset();
    zor::cont::reset();
    CONT_init();
    PLT_init_labels();
    PLT_set_overlay(0);
    PLT_set_overlay_base(0);
    FLAG_resetplot(1);
    FLAG_set(2, 0);
    FLAG_set(19, 1);
  }
  ~BatchPlot() {
    GPH_end(1);
    zor::gks::kernel().reset();
    zor::gks::reset_color_model();
    zor::clr::reset();
    FLAG_set(19, 0);
    FLAG_resetplot(1);
    zor::plt::reset();
    zor::cont::reset();
    zor::map::reset();
    PLT_init_labels();
  }
  BatchPlot(const BatchPlot&) = delete;
  BatchPlot& operator=(const BatchPlot&) = delete;

 private:
  EnvVar display_{"DISPLAY", ":4097"};  // a server that cannot exist
};

// A radar-centred domain reaching `range` km from the site every way: polar
// stereographic, one-kilometre grid, three halves as wide as high.
inline Domain radar_domain(float lat, float lon, int range) {
  Domain d;
  DOM_init(&d);
  d.proj = DOM_PSTEREO;
  d.plat = lat;
  d.plon = lon;
  d.clat = lat;
  d.clon = lon;
  d.ny = 2 * range + 1;
  d.nx = 3 * range + 1;
  Domain save;
  MAP_get_domain(&save);
  MAP_domain(&d);
  d.dx = d.dy = MAP_factor(lat) / 100.0f;
  MAP_domain(&save);
  return d;
}

}  // namespace zor::test
