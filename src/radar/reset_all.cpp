// The whole process state back to what a new process has: the top layer
// knows every module, so the one reset lives here.
#include "zor/nids.h"
#include "zor/reset.h"

namespace zor {

void reset_all() {
  // Top down, so that nothing closing refers to a lower module already reset.
  rrwds::reset();
  rad::reset();
  lev2::reset();
  rcm::reset();
  mosaic::reset();
  nids_plot::reset();
  NIDS_reset();
  watch::reset();
  var::reset();
  raw::reset();
  plt::reset();
  plt_label::reset();
  map_draw::reset();
  cont::reset();
  gks::reset_kernel();
  gks::reset_color_model();
  gks::reset_ps();
  gks::reset_hpgl();
  gks::reset_meta();
  clr::reset();
  map::reset();
  dom::reset();
  cty::reset();
  util::reset();
  res::reset();
  mq::reset();
  mess::reset();
  flag::reset();
  file::reset();
  def::reset();
  date::reset();
}

}  // namespace zor
