// Front of the PNG module: the decoders are the exported ones.
#pragma once

#include <vorel/png.h>
