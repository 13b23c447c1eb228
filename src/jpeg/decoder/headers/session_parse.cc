// The entries that parse a session's input as a JPEG, whatever it begins with.
#include <vorel/jpeg_decoder.h>

#include <cstring>

#include "core/core.h"
#include "core/session.h"

namespace vorel {
namespace {

// The JPEG-only entries: read() goes over the stream's markers, and fills what it is asked for.
template <typename Read>
int32_t parse_jpeg_only(DecInfo *session, ImageInfo *info, const Read &read) {
    set_error(session ? kErrorNone : kErrorNullSession);
    if (!session || !info) return 0;
    std::memset(info, 0, sizeof *info);
    if (VORELBRIM_Seek_IO(session->ioInfo, 0, SEEK_SET) != 0) return 0;
    if (read() == 0) {
        if (last_error() == kErrorNone) set_error(kErrorHeader);
        return 0;
    }
    session->imageWidth = info->width;
    session->imageHeight = info->height;
    info->frameCount = 1;
    publish_image(session, info);
    return 1;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VORELBRIM_JpgParser(DecInfo *session, ImageInfo *imageInfo) {
    const int32_t read =
        parse_jpeg_only(session, imageInfo, [&] { return BRIMJ_GetHInfo(session->ioInfo, imageInfo); });
    if (read) session->imageType = VOREL_IMAGE_JPEG;
    return read;
}

int32_t VORELBRIM_ThumbnailParser(DecInfo *session, ImageInfo *imageInfo) {
    return parse_jpeg_only(session, imageInfo, [&] { return BRIMJ_GetThumbInfo(session, imageInfo); });
}

}  // extern "C"
