// Front of the utilities, for other modules: the public functions, and work spread over a pool's threads.
#pragma once

#include <vorel/util.h>

#include "util/task_group.h"

namespace vorel {

// vorel_resize_nv21 where there are pairs, else vorel_resize_yuv420. False with nothing written: see resize() of
// resize.h.
bool resize_yuv420(bool pairs, const uint8_t *src, uint8_t *dst, int32_t src_width, int32_t src_height,
                   int32_t dst_width, int32_t dst_height);

}  // namespace vorel
