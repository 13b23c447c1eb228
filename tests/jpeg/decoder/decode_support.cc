#include "jpeg/decoder/decode_support.h"

#include <utility>

namespace vorel::test {

namespace {

// Fills in the target, the buffer and the window of a session.
bool prepare(DecInfo *session, const DecodeSpec &spec, int32_t *width, int32_t *height, size_t *bytes) {
    if (!session) return false;
    *width = spec.width;
    *height = spec.height;
    if (*width == 0 || *height == 0) {
        ImageInfo info;
        if (VORELBRIM_Parser(session, &info) != VOREL_IMAGE_JPEG) return false;
        if (*width == 0) *width = static_cast<int32_t>(info.width);
        if (*height == 0) *height = static_cast<int32_t>(info.height);
    }
    *bytes = format_bytes(spec.format, *width, *height);
    if (spec.window_width == 0) return true;
    set_window(session, spec.window_x, spec.window_y, spec.window_width, spec.window_height);
    session->partialToBuffer = spec.window_in_place;
    if (!spec.window_in_place) {
        const bool turned = pixel_bytes(spec.format) && spec.options & 4;
        const int32_t w = static_cast<int32_t>(turned ? spec.window_height : spec.window_width);
        const int32_t h = static_cast<int32_t>(turned ? spec.window_width : spec.window_height);
        *bytes = format_bytes(spec.format, w, h);
    }
    return true;
}

int32_t decode_with_mode(DecInfo *session, int32_t mode, void *output, int32_t width, int32_t height) {
    IoInfo *io = session->ioInfo;
    uint8_t *block = BRIMJ_AllocateStreamBuffer(io);
    StreamBuffer stream = {io, 0, io->size, 0, 0, block};
    VORELBRIM_Seek_IO(io, 0, SEEK_SET);
    VORELBRIM_SetDecMode(session, mode);
    const int32_t result = BRIMJ_DecodeFrame(session, &stream, output, width, height);
    BRIMJ_ReleaseStreamBuffer(io, block);
    return result;
}

}  // namespace

Decoded decode(const Bytes &jpeg, const DecodeSpec &spec) {
    Decoded out;
    Input input(spec.kind, jpeg, spec.format, spec.options);
    DecInfo *session = input.session();
    int32_t width, height;
    size_t bytes;
    if (!prepare(session, spec, &width, &height, &bytes)) return out;
    GuardBuffer buffer(bytes, spec.fill);
    session->checkFn = spec.check;
    out.result = spec.mode < 0 ? spec.entry(session, buffer.data(), width, height)
                               : decode_with_mode(session, spec.mode, buffer.data(), width, height);
    out.error = gVORELBRIM_Error;
    out.pixels = buffer.bytes();
    out.out_width = session->outWidth;
    out.out_height = session->outHeight;
    return out;
}

}  // namespace vorel::test
