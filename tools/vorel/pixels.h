// The pixel layouts of the library: their names, the bytes of a picture, and the way from any of them to RGB.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorel_tool {

enum class Layout : uint8_t {
    kWord565,    // red on top
    kBgr565a,    // a 16-bit word with blue on top, an alpha byte
    kRgb,        // bytes, also with alpha: `order` says where they stand
    kGray,       // Y only
    kPlanar,     // Y, Cb, Cr planes
    kYuyv,       // Y0 Cb Y1 Cr
    kSemiPlanar  // Y plane, plane of chroma pairs
};

// Pictures, as far as their decoders know different layouts; bits.
constexpr uint8_t kColorJpeg = 1, kGrayJpeg = 2, kWbmp = 4, kGif = 8, kBmp = 16, kPngFile = 32;

struct PixelFormat {
    const char *name;
    int32_t code;  // COLOR_...
    Layout layout;
    uint8_t pixel_bytes;         // kWord565, kBgr565a, kRgb
    uint8_t order[3];            // kRgb: where R, G and B stand; kSemiPlanar: where Cb and Cr stand in a pair
    uint8_t chroma_h, chroma_v;  // kPlanar: luma samples per chroma sample
    bool rotates;                // a decode can turn the picture
    uint8_t written_for;         // kColorJpeg, ...: which decoders know the layout
};

// Null for an unknown name.
const PixelFormat *find_format(std::string_view name);
std::vector<std::string> format_names();

// A picture buffer as the library fills it: rows without padding, planes behind one another.
struct Picture {
    const PixelFormat *format;
    int32_t width, height;  // pixels, at least 1
    std::vector<uint8_t> bytes;
    bool alpha = false;  // its PNG has the alpha channel; bytes R, G, B, A only
};

uint64_t picture_bytes(const PixelFormat &format, int32_t width, int32_t height);

// A black picture: zeros, and chroma in the middle of its range.
Picture make_picture(const PixelFormat &format, int32_t width, int32_t height);

// The same for a picture whose size turns out later, at most width x height, and which covers all of its rectangle: the
// planes may begin anywhere, so chroma's middle stands everywhere.
Picture make_unsized_picture(const PixelFormat &format, int32_t width, int32_t height);
void set_size(Picture *picture, int32_t width, int32_t height);

bool is_gray(const Picture &picture);

// Row y as width bytes of gray, for a picture that is gray, or as width times R, G, B.
void gray_row(const Picture &picture, int32_t y, uint8_t *out);
void rgb_row(const Picture &picture, int32_t y, uint8_t *out);
Picture to_rgb888(const Picture &picture);
// Of one whose pixels are all gray.
Picture to_gray(const Picture &picture);

}  // namespace vorel_tool
