// ICC profiles (ICC.1:2001-04) of the colour spaces, made on first use.
#pragma once

#include <cstdint>
#include <vector>

#include "dng/base/matrix.h"
#include "dng/colour/function_1d.h"

namespace vorel {

// A display profile by matrix and curve, or of grey by its curve where to_pcs has one column. A gamma of 0: the curve
// is sampled from encode; else it is that power.
std::vector<uint8_t> make_icc_profile(const char *description, const VorelDngMatrix &to_pcs, double gamma,
                                      const VorelDng1dFunction &encode);

}  // namespace vorel
