// Shared by the mosaic decoders and their plotting.
#pragma once

#include "zor/types.h"

namespace zor::mosaic {

// The product domain of the open file.
const Domain& nowrad_domain();
const Domain& kavrad_domain();

// Forget the decoders' stream state and carried values (tests).
void reset_nowrad_decoder();
void reset_kavrad_decoder();

}  // namespace zor::mosaic
