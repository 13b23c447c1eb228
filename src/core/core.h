// Front of the core, for every other module: memory, logging, error words, result codes, inputs, byte order, pixel
// layouts, turns and taps.
#pragma once

#include <vorel/frame.h>

#include "core/codes.h"
#include "core/endian.h"
#include "core/log.h"
#include "core/mutex_lock.h"
#include "core/os.h"
#include "core/pixel_layout.h"
#include "core/stream.h"
#include "core/taps.h"
#include "core/turn.h"
