// Front of the raster module: the decoders of the simple formats are the exported ones.
#pragma once

#include <vorel/raster.h>
