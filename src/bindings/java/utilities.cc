// Small helpers that are exported beside the natives.
#include <vorel/bindings_java.h>
#include <vorel/jpeg_decoder.h>

#include <ctime>

#include "bindings/c/binding_log.h"
#include "core/path_source.h"

using namespace vorel;

extern "C" {

int32_t getFileSize(const char *path) { return file_size(kLogError, kTagBitmapDecoder, path); }

int64_t gettime(void) {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void vorel_vjpeg_get_version(void) {
    VOREL_ERROR(kTagFactory, "Build Date\t : %s %s\n", VOREL_BUILD_DATE, VOREL_BUILD_TIME);
    VOREL_ERROR(kTagFactory, "Version\t : %s %s %s %s\n", "libvorel", VOREL_VERSION, "JPEG", BRIMJ_GetVersion());
}

}  // extern "C"
