#include "jpeg/decoder/decode_support.h"

#include <utility>

namespace vorel::test {

Layout layout_of(int32_t format) {
    constexpr std::pair<int32_t, Layout> kLayouts[] = {
        {COLOR_RGB565, {2}},          {COLOR_RGB565_ALT, {2}},   {COLOR_RGB888, {3}},
        {COLOR_BGR565A, {3}},         {COLOR_ARGB8888, {4}},     {COLOR_RGBA8888, {4}},
        {COLOR_BGRA8888, {4}},        {COLOR_YUV420, {0, 2, 2}}, {COLOR_YUV422, {0, 2, 1}},
        {COLOR_YUV440, {0, 1, 2}},    {COLOR_YUV444, {0, 1, 1}}, {COLOR_NV21, {0, 2, 2, true}},
        {COLOR_NV12, {0, 2, 2, true}}};
    for (const auto &[of, layout] : kLayouts)
        if (of == format) return layout;
    return {};
}

size_t format_bytes(int32_t format, int32_t width, int32_t height) {
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    if (format == COLOR_YUYV) return (2 * w + (2 * w & 3)) * h;
    const Layout layout = layout_of(format);
    if (layout.pixel_bytes) return w * h * static_cast<size_t>(layout.pixel_bytes);
    if (!layout.across) return w * h;
    return w * h + 2 * ((w + layout.across - 1) / layout.across) * ((h + layout.down - 1) / layout.down);
}

void set_window(DecInfo *session, uint32_t x, uint32_t y, uint32_t width, uint32_t height) {
    session->partialDecode = 1;
    session->partialX = x;
    session->partialY = y;
    session->partialWidth = width;
    session->partialHeight = height;
}

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

template <typename Run>
Decoded run_decode(const Bytes &jpeg, const DecodeSpec &spec, const Run &run) {
    Decoded out;
    Input input(spec.kind, jpeg, spec.format, spec.options);
    int32_t width, height;
    size_t bytes;
    if (!prepare(input.session(), spec, &width, &height, &bytes)) return out;
    GuardBuffer buffer(bytes, spec.fill);
    out.result = run(input.session(), buffer.data(), width, height);
    out.error = gVORELBRIM_Error;
    out.pixels = buffer.bytes();
    out.out_width = input.session()->outWidth;
    out.out_height = input.session()->outHeight;
    return out;
}

}  // namespace

Decoded decode(const Bytes &jpeg, const DecodeSpec &spec) {
    return run_decode(jpeg, spec, [](DecInfo *session, void *output, int32_t width, int32_t height) {
        return VORELBRIM_DecodeJPEG(session, output, width, height);
    });
}

Decoded decode_with_mode(const Bytes &jpeg, const DecodeSpec &spec, int32_t mode) {
    return run_decode(jpeg, spec, [mode](DecInfo *session, void *output, int32_t width, int32_t height) {
        IoInfo *io = session->ioInfo;
        uint8_t *block = BRIMJ_AllocateStreamBuffer(io);
        StreamBuffer stream = {io, 0, io->size, 0, 0, block};
        VORELBRIM_Seek_IO(io, 0, SEEK_SET);
        VORELBRIM_SetDecMode(session, mode);
        const int32_t result = BRIMJ_DecodeFrame(session, &stream, output, width, height);
        BRIMJ_ReleaseStreamBuffer(io, block);
        return result;
    });
}

}  // namespace vorel::test
