/* The whole public interface of libvorel. Each module's header also stands alone. */
#ifndef VOREL_VOREL_H
#define VOREL_VOREL_H

#include <vorel/bindings.h>
#include <vorel/dng.h>
#include <vorel/dng_metadata.h>
#include <vorel/dng_samples.h>
#include <vorel/exif.h>
#include <vorel/exif_writer.h>
#include <vorel/export.h>
#include <vorel/frame.h>
#include <vorel/jpeg_decoder.h>
#include <vorel/jpeg_encoder.h>
#include <vorel/jpeg_encoder_input.h>
#include <vorel/jpeg_encoder_parallel.h>
#include <vorel/jpeg_encoder_progressive.h>
#include <vorel/jpeg_encoder_session.h>
#include <vorel/jpeg_iterative.h>
#include <vorel/jpeg_region.h>
#include <vorel/jpeg_statistics.h>
#include <vorel/jpeg_threads.h>
#include <vorel/png.h>
#include <vorel/raster.h>
#include <vorel/util.h>

#endif
