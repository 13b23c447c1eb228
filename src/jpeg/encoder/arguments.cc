#include "jpeg/encoder/arguments.h"

namespace vorel {

bool refuse(const char *entry) {
    store_relaxed(&debug_BrimCodecError, kBadArgument);
    VOREL_TRACE_AS(kTagJpegStat, entry);
    return false;
}

bool is_complete(const RawInfo *raw, const char *entry) {
    if (!raw) return refuse(entry);
    if (raw->pixels) return true;
    switch (raw->format) {
        case COLOR_YUV420:
        case COLOR_YUV422:
        case COLOR_YUV440:
        case COLOR_YUV444:
            return (raw->planeY && raw->planeU && raw->planeV) || refuse(entry);
        case COLOR_NV21:
        case COLOR_NV12:
        case COLOR_GRAY:  // Required: the second plane is asked for, though it is not read
            return (raw->planeY && raw->planeU) || refuse(entry);
        default:
            return refuse(entry);  // interleaved pixels have no planes
    }
}

}  // namespace vorel
