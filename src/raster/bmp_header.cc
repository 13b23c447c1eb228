// From the first bytes of a BMP to the record of its decode: fields, masks, palette, size and place of the output.
#include <algorithm>
#include <cstring>

#include "core/core.h"
#include "raster/bmp_input.h"
#include "raster/bmp_pixels.h"
#include "raster/fit.h"
#include "raster/kernels/bmp_kernels.h"

namespace vorel {
namespace {

// File header of 14 bytes and info header of 40; all fields that are looked at, whatever the header's size.
constexpr int32_t kFileHeaderBytes = 14, kHeaderBytes = 54;
constexpr int32_t kCoreHeader = 12, kInfoHeader = 40;
constexpr uint32_t kRle8 = 1, kRle4 = 2, kJpeg = 4, kPng = 5;  // compression

// The compression field, or an error that no field holds. Required: sizes are read as 16 bits, so files beyond are
// misread without a word, and an OS/2 header is followed by its palette, whose first two bytes count as compression.
bool read_fields(const uint8_t *header, BmpInfo *info, uint32_t *compression) {
    if (header[0] != 'B' || header[1] != 'M') return false;
    info->dataOffset = little_endian_32(header + 10);
    info->headerSize = header[14];
    info->width = static_cast<int32_t>(little_endian_16(header + 18));
    if (info->headerSize == kCoreHeader) {
        info->height = static_cast<int32_t>(little_endian_16(header + 20));
        info->bitCount = static_cast<uint16_t>(little_endian_16(header + 24));
        *compression = little_endian_16(header + 26);
        return true;
    }
    if (info->headerSize < kInfoHeader) return false;
    info->height = static_cast<int16_t>(little_endian_16(header + 22));
    info->topDown = info->height < 0;
    if (info->topDown) info->height = -info->height;
    info->bitCount = static_cast<uint16_t>(little_endian_16(header + 28));
    *compression = little_endian_32(header + 30);
    return true;
}

// ---- 16 bits --------------------------------------------------------------------------------------------------------

struct MaskSet {
    uint32_t red, green, blue;
    uint32_t red_shift, green_shift, blue_shift;
};
constexpr MaskSet kMaskSets[] = {
    {0x7C00, 0x3E0, 0x1F, 1, 1, 0},
    {0xF800, 0x7E0, 0x1F, 0, 0, 0},
    {0xF00, 0xF0, 0xF, 4, 3, 1},
};

bool read_masks(BmpInfo *info, uint32_t compression) {
    uint32_t masks[3] = {kMaskSets[0].red, kMaskSets[0].green, kMaskSets[0].blue};
    if (compression != 0) {
        uint8_t bytes[12];
        if (read_bytes(info->input, bytes, sizeof bytes) != sizeof bytes) return false;
        for (int i = 0; i < 3; ++i) masks[i] = little_endian_32(bytes + i * 4);
    }
    for (const MaskSet &set : kMaskSets) {
        if (masks[0] != set.red || masks[1] != set.green || masks[2] != set.blue) continue;
        info->redMask = set.red;
        info->greenMask = set.green;
        info->blueMask = set.blue;
        info->redShift = set.red_shift;
        info->greenShift = set.green_shift;
        info->blueShift = set.blue_shift;
        return true;
    }
    return false;
}

// ---- palette --------------------------------------------------------------------------------------------------------

// Required: the bytes between header and pixels are counted as if each were an entry, in 16 bits with sign, so a file
// of few colours takes bytes of its pixels for more; they are not all there in a small one, and need not be. OS/2
// entries have three bytes. False without memory, and when a stream ends before the pixels begin.
bool read_palette(BmpInfo *info) {
    info->palette = os_allocate_array<uint8_t>(kPaletteEntries * 4);
    info->colours = os_allocate_array<uint32_t>(2 * kPaletteEntries);
    if (!info->palette || !info->colours) return false;
    const int32_t start = kFileHeaderBytes + info->headerSize;
    const auto bytes_between = static_cast<int16_t>(info->dataOffset - static_cast<uint32_t>(start));
    info->paletteEntries = std::clamp<int16_t>(bytes_between, 0, kPaletteEntries);
    const int32_t entry_bytes = info->headerSize == kCoreHeader ? 3 : 4;
    const int32_t asked = info->paletteEntries * entry_bytes;
    uint8_t bytes[kPaletteEntries * 4] = {};
    go_to(info->input, start);
    const auto came = static_cast<int32_t>(read_bytes(info->input, bytes, asked));
    const int64_t before_pixels = (int64_t{info->dataOffset} - start) / entry_bytes * entry_bytes;
    if (!is_memory(info->input->io) && came < std::min<int64_t>(asked, before_pixels)) return false;
    for (int i = 0; i < info->paletteEntries; ++i) std::memcpy(info->palette + i * 4, bytes + i * entry_bytes, 3);
    make_bmp_colours(info);
    return true;
}

// ---- output ---------------------------------------------------------------------------------------------------------

// False without memory, and for rows whose length 31 bits do not hold.
bool place_output(BmpInfo *info, int32_t width, int32_t height, uint8_t *output) {
    const PictureFit fit = fit_picture(info->width, info->height, width, height, info->session->decOption);
    const int64_t bytes = bmp_pixel_bytes(info->outputFormat);
    const int64_t row_step = fit.row_step * bytes, pixel_step = fit.pixel_step * bytes;
    if (std::max({row_step, -row_step, pixel_step, -pixel_step}) > INT32_MAX) return false;
    info->outWidth = fit.width;
    info->outHeight = fit.height;
    info->oneToOne = fit.one_to_one;
    info->requestedWidth = width;
    info->rotation = fit.rotation;
    info->rowStep = static_cast<int32_t>(row_step);
    info->pixelStep = static_cast<int32_t>(pixel_step);
    info->output = output + fit.origin * bytes;
    if (fit.empty() || fit.one_to_one) return true;
    info->scratch = os_allocate_array<uint32_t>(static_cast<uint64_t>(fit.width));
    if (info->bitCount == 32) info->alphaScratch = os_allocate_array<uint32_t>(static_cast<uint64_t>(fit.width));
    return info->scratch && (info->alphaScratch || info->bitCount != 32);
}

bool read_header(BmpInfo *info) {
    uint8_t header[kHeaderBytes];
    uint32_t compression;
    if (read_bytes(info->input, header, kHeaderBytes) != kHeaderBytes) return false;
    if (!read_fields(header, info, &compression)) return false;
    const int64_t row_bytes = (int64_t{info->width} * info->bitCount + 7) >> 3;
    if (row_bytes == 0) {
        VOREL_LOG(kTagJpeg, "BRIMI_BMP_Initialize : lineBytes is zero");
        return false;
    }
    if (compression == kRle4 || compression == kJpeg || compression == kPng) return false;
    info->isRle8 = compression == kRle8;
    if (info->bitCount == 16) return read_masks(info, compression);
    return info->bitCount > 8 || (info->bitCount != 1 && info->bitCount != 4 && info->bitCount != 8) ||
           read_palette(info);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

BmpInfo *BRIMI_BMP_Initialize(DecInfo *session, int32_t width, int32_t height, void *output) {
    if (!session || !session->ioInfo || !output) return nullptr;
    auto *info = os_allocate_array<BmpInfo>(1);
    if (!info) return nullptr;
    info->session = session;
    info->outputFormat = session->outColorFormat;
    info->kernels = &bmp_kernels();
    info->input = open_bmp_input(session->ioInfo);
    if (!info->input || !read_header(info) || !place_output(info, width, height, static_cast<uint8_t *>(output))) {
        BRIMI_BMP_DeleteDecInfo(info);
        return nullptr;
    }
    session->decoderReady = 1;
    return info;
}

void BRIMI_BMP_DeleteDecInfo(BmpInfo *info) {
    if (!info) return;
    close_bmp_input(info->input);
    os_release(info->palette);
    os_release(info->colours);
    os_release(info->scratch);
    os_release(info->alphaScratch);
    os_release(info);
}

}  // extern "C"
