// The parsing entries of a session: one frame around the cores that look at the bytes.
#include <cstring>

#include "core/core.h"
#include "core/session.h"

#include <vorel/jpeg_decoder.h>

namespace vorel {
namespace {

// 15000 x 15000 passes.
constexpr uint64_t kMaxPixels = 225000000;

// At the start of the input. False when there is no block, which sets the error word, or when the input does not go
// back to its start.
bool start(StreamCursor *cursor) {
    if (!cursor->ready()) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    return cursor->start_at(0) == 0;
}

// The start of every entry: the error word and the null session.
bool enter(const DecInfo *session) {
    set_error(session ? kErrorNone : kErrorNullSession);
    return session != nullptr;
}

// No side above the limit passes, so sizes fit 31 bits from here on.
bool decodable_size(const ImageInfo *info) {
    return info->width != 0 && info->height != 0 && uint64_t{info->width} * info->height <= kMaxPixels;
}

// Runs core(stream) at the input's start. The session keeps the type even where the size is refused; what was never
// read has the size 0 x 0, whatever the session held before.
template <typename Core>
int32_t parse_sized(DecInfo *session, ImageInfo *info, const Core &core) {
    std::memset(info, 0, sizeof *info);
    {
        StreamCursor cursor(session->ioInfo);
        if (!start(&cursor)) return VOREL_IMAGE_NONE;
        session->imageWidth = session->imageHeight = 0;
        session->imageType = core(cursor.stream());
    }
    publish_image(session, info);
    return decodable_size(info) ? session->imageType : VOREL_IMAGE_NONE;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VORELBRIM_Parser(DecInfo *session, ImageInfo *imageInfo) {
    if (!enter(session) || !imageInfo) return VOREL_IMAGE_NONE;
    return parse_sized(session, imageInfo,
                       [&](StreamBuffer *stream) { return BRIM_Parse(session, stream, imageInfo); });
}

int32_t VORELBRIM_SimpleParserGIF(DecInfo *session, ImageInfo *imageInfo, uint32_t minimumDelay) {
    if (!enter(session) || !imageInfo) return VOREL_IMAGE_NONE;
    return parse_sized(session, imageInfo, [&](StreamBuffer *stream) {
        return __BRIM_ParserGIF(session, stream, imageInfo, minimumDelay);
    });
}

int32_t VORELBRIM_GetImageType(DecInfo *session) {
    if (!enter(session)) return VOREL_IMAGE_NONE;
    StreamCursor cursor(session->ioInfo);
    return start(&cursor) ? BRIM_GetImageType(session, cursor.stream()) : VOREL_IMAGE_NONE;
}

// Required: containers are not searched. The outputs and the result are 0 always; only the error word tells more.
int32_t VORELBRIM_GetJpegOffset(DecInfo *session, int32_t *outOffset, int32_t *outLength) {
    constexpr int32_t kContainerBytes = 8;
    if (outOffset) *outOffset = 0;
    if (outLength) *outLength = 0;
    if (!enter(session)) return 0;
    StreamCursor cursor(session->ioInfo);
    if (start(&cursor) && BRIMJ_CheckBuffer(cursor.stream(), kContainerBytes) == 0) set_error(kErrorHeader);
    return 0;
}

}  // extern "C"
