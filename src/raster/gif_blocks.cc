// The blocks of a GIF: header and screen, extensions, image descriptors (GIF89a, clauses 17 to 27).
#include "raster/gif.h"

namespace vorel {
namespace {

constexpr int32_t kScreenBytes = 13;  // header and logical screen descriptor
constexpr int32_t kImageBytes = 9;    // an image descriptor behind its separator
constexpr int32_t kControlBytes = 4;  // of a graphic control, behind its size
constexpr int32_t kMostOfImage = 10000;
constexpr uint32_t kMsPerTick = 10;  // delays count hundredths of a second

constexpr int32_t kLabelPlainText = 0x01;
constexpr int32_t kLabelControl = 0xF9;
constexpr int32_t kLabelComment = 0xFE;
constexpr int32_t kLabelApplication = 0xFF;

uint32_t table_colours(uint32_t flags) { return flags & 0x80 ? 2u << (flags & 7) : 0; }

const uint8_t *take(GifInput *input, int32_t bytes) {
    if (!BRIMI_CheckBuffer(input, bytes)) return nullptr;
    const uint8_t *at = input->cursor;
    input->cursor += bytes;
    input->available -= bytes;
    return at;
}

bool is_digit(uint8_t byte) { return byte >= '0' && byte <= '9'; }
bool is_letter(uint8_t byte) { return (byte | 0x20) >= 'a' && (byte | 0x20) <= 'z'; }

bool has_signature(const uint8_t *bytes) {
    return bytes[0] == 'G' && bytes[1] == 'I' && bytes[2] == 'F' && is_digit(bytes[3]) && is_digit(bytes[4]) &&
           is_letter(bytes[5]);
}

bool read_control(GifInfo *info) {
    if (gif_byte(info->input) != kControlBytes) return false;
    const uint8_t *bytes = take(info->input, kControlBytes);
    if (!bytes) return false;
    info->disposal = (bytes[0] >> 2) & 7;
    info->transparentFlag = bytes[0] & 1;
    info->delayMs = static_cast<uint32_t>(little_endian_16(bytes + 1)) * kMsPerTick;
    info->transparentIndex = info->transparentFlag ? bytes[3] : -1;
    return true;
}

// False at the end of the input and for a graphic control of another size. An unknown label is passed over alone.
bool read_extension(GifInfo *info) {
    switch (gif_byte(info->input)) {
        case -1:
            return false;
        case kLabelControl:
            return read_control(info);
        case kLabelPlainText:
        case kLabelComment:
        case kLabelApplication:
            return gif_skip_sub_blocks(info->input);
        default:
            return true;
    }
}

bool read_image(GifInfo *info, const uint8_t *bytes) {
    info->frameLeft = little_endian_16(bytes);
    info->frameTop = little_endian_16(bytes + 2);
    info->frameWidth = little_endian_16(bytes + 4);
    info->frameHeight = little_endian_16(bytes + 6);
    const uint32_t flags = bytes[8];
    info->interlaced = (flags >> 6) & 1;
    info->interlacePass = info->interlaced;
    info->localColours = table_colours(flags);
    if (info->localColours && !gif_read_palette(info, info->localPalette, info->localColours)) return false;
    info->palette = info->localColours ? info->localPalette : info->globalPalette;
    info->paletteColours = static_cast<int32_t>(info->localColours ? info->localColours : info->globalColours);
    const int32_t min_code_size = gif_byte(info->input);
    if (min_code_size < 0) return false;
    info->minCodeSize = static_cast<uint32_t>(min_code_size);
    // Required: only above, so an index just behind the table stays.
    if (info->transparentIndex > info->paletteColours) {
        info->transparentFlag = 0;
        info->transparentIndex = -1;
    }
    info->work->prepared = false;
    return true;
}

bool is_too_large(const uint8_t *bytes) {
    for (int i = 0; i < 8; i += 2)
        if (little_endian_16(bytes + i) > kMostOfImage) return true;
    return false;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMI_ParseGIFHeader(DecInfo *session, GifInfo *info) {
    if (!info || !info->input) return 0;
    if (session) info->outputFormat = session->outColorFormat;
    GifInput *input = info->input;
    input->available = 0;
    input->cursor = input->buffer;
    // A stream without a rewind is read from where it stands.
    if (VORELBRIM_Seek_IO(input->stream, 0, SEEK_SET) < 0) return 0;
    const uint8_t *bytes = take(input, kScreenBytes);
    if (!bytes || !has_signature(bytes)) return 0;
    info->width = little_endian_16(bytes + 6);
    info->height = little_endian_16(bytes + 8);
    if (info->width == 0 || info->height == 0) return 0;
    const uint32_t flags = bytes[10];
    info->colourResolution = (flags >> 4) & 7;
    info->backgroundIndex = bytes[11];
    info->aspect = bytes[12];
    info->globalColours = table_colours(flags);
    info->palette = info->globalPalette;
    info->paletteColours = static_cast<int32_t>(info->globalColours);
    return !info->globalColours || gif_read_palette(info, info->globalPalette, info->globalColours);
}

// Required: the trailer is passed over like any byte that begins no block, so images behind it are found. A descriptor
// that is too large is passed over with all its bytes.
int32_t BRIMI_SeekImageData(GifInfo *info) {
    if (!info || !info->input || !info->work) return 0;
    for (;;) {
        const int32_t byte = gif_byte(info->input);
        if (byte < 0) return 0;
        if (byte == kGifExtension && !read_extension(info)) return 0;
        if (byte != kGifSeparator) continue;
        const uint8_t *bytes = take(info->input, kImageBytes);
        if (!bytes) return 0;
        if (!is_too_large(bytes)) return read_image(info, bytes);
    }
}

}  // extern "C"
