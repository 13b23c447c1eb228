// Front of the raster room: the decoders of the simple formats are the exported ones.
#pragma once

#include <vorel/raster.h>
