// Front of the frame's floor, for every other room: memory, logging, error words, result codes, inputs.
#pragma once

#include <vorel/frame.h>

#include "core/codes.h"
#include "core/log.h"
#include "core/os.h"
#include "core/stream.h"
