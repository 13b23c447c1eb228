// Front of the PNG room: the decoders are the exported ones.
#pragma once

#include <vorel/png.h>
