// libvorel's side of a row.
#include <vorel/jpeg_decoder.h>

#include <algorithm>
#include <cstring>

#include "decoders.h"

namespace vorel_bench {
namespace {

int32_t color_format(Format format) {
    switch (format) {
        case Format::kRgb565:
            return COLOR_RGB565;
        case Format::kYuv420:
            return COLOR_YUV420;
        default:
            return COLOR_RGBA8888;
    }
}

// Callbacks over memory.
struct Cursor {
    const Bytes *bytes;
    size_t at;
};
int32_t read_cursor(void *context, void *destination, int32_t count) {
    auto *cursor = static_cast<Cursor *>(context);
    const size_t left = cursor->bytes->size() - cursor->at;
    const size_t taken = std::min(left, static_cast<size_t>(count));
    std::memcpy(destination, cursor->bytes->data() + cursor->at, taken);
    cursor->at += taken;
    return static_cast<int32_t>(taken);
}
int32_t skip_cursor(void *context, int32_t, int32_t count) {
    auto *cursor = static_cast<Cursor *>(context);
    cursor->at = std::min(cursor->bytes->size(), cursor->at + static_cast<size_t>(count));
    return static_cast<int32_t>(cursor->at);
}
int32_t rewind_cursor(void *context, int32_t, int32_t) {
    static_cast<Cursor *>(context)->at = 0;
    return 0;
}

DecInfo *open_session(const Row &row, const Jpeg &jpeg, Cursor *cursor) {
    const int32_t size = static_cast<int32_t>(jpeg.bytes.size()), format = color_format(row.format);
    const uint32_t options = row.scale == Scale::kFit ? VOREL_OPTION_FIT_PACKED : VOREL_OPTION_FIT_CENTER;
    switch (row.source) {
        case Source::kFile:
            return VORELBRIM_CreateDecInfo(0, const_cast<char *>(jpeg.path.c_str()), 0, format, options);
        case Source::kStream:
            return VORELBRIM_CreateDecInfoWithStream(cursor, size, read_cursor, skip_cursor, rewind_cursor, format,
                                                     options);
        default:
            return VORELBRIM_CreateDecInfo(1, const_cast<uint8_t *>(jpeg.bytes.data()), size, format, options);
    }
}

}  // namespace

size_t buffer_bytes(Format format, int width, int height) {
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    switch (format) {
        case Format::kRgb565:
            return w * h * 2;
        case Format::kYuv420:
            return w * h + 2 * ((w + 1) / 2) * ((h + 1) / 2);
        default:
            return w * h * 4;
    }
}

void prepare_ours(const Row &row, const Jpeg &jpeg, Output *output) {
    const int n = denominator(row.scale);
    output->width = row.scale == Scale::kFit ? kScreenWidth : jpeg.width / n;
    output->height = row.scale == Scale::kFit ? kScreenHeight : jpeg.height / n;
    output->bytes.assign(buffer_bytes(row.format, output->width, output->height), 128);
}

bool decode_ours(const Row &row, const Jpeg &jpeg, Output *output) {
    Cursor cursor = {&jpeg.bytes, 0};
    DecInfo *session = open_session(row, jpeg, &cursor);
    if (!session) return false;
    ImageInfo info;
    const bool decoded = VORELBRIM_Parser(session, &info) == VOREL_IMAGE_JPEG &&
                         VORELBRIM_PDecodeJPEG(session, output->bytes.data(), output->width, output->height,
                                               denominator(row.scale)) == 1;
    VORELBRIM_DestroyDecInfo(session);
    return decoded;
}

}  // namespace vorel_bench
