// Front of the frame's floor, for every other room: memory, logging, error words, result codes, inputs.
#pragma once

#include <vorel/frame.h>

#include "frame/codes.h"
#include "frame/log.h"
#include "frame/os.h"
#include "frame/stream.h"
