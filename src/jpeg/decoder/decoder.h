// Front of the JPEG decoder for the other modules.
#pragma once

#include <vorel/jpeg_decoder.h>

#include "jpeg/decoder/orientation.h"
