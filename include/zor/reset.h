// Each module keeps its process-wide state in one record behind an accessor;
// these put a module's record back as a new process has it. reset_all() does
// it for every module (the graphics workstation closed first), so a test can
// start from a fresh process state.
#pragma once

namespace zor {
namespace date { void reset(); }
namespace def { void reset(); }
namespace file { void reset(); }  // file names and the open streams
namespace flag { void reset(); }
namespace mess { void reset(); }
namespace mq { void reset(); }  // closes sockets, cancels the alarm
namespace res { void reset(); }
namespace util { void reset(); }
namespace cty { void reset(); }
namespace dom { void reset(); }
namespace map { void reset(); }
namespace clr { void reset(); }
namespace gks {
void reset_kernel();  // closes the open workstation
void reset_color_model();
void reset_ps();
void reset_hpgl();
void reset_meta();
}  // namespace gks
namespace cont { void reset(); }
namespace map_draw { void reset(); }
namespace plt { void reset(); }
namespace plt_label { void reset(); }
namespace raw { void reset(); }
namespace var { void reset(); }
namespace watch { void reset(); }
namespace nids_plot { void reset(); }
namespace mosaic { void reset(); }  // NOWRad and KAVRAD
namespace lev2 { void reset(); }
namespace rcm { void reset(); }
namespace rad { void reset(); }  // converted radar report files
namespace rrwds { void reset(); }  // RRWDS site images

void reset_all();
}  // namespace zor
