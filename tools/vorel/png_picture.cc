// A PNG in the size, place and turn that is asked for.
#include "png_picture.h"

#include <vorel/png.h>
#include <vorel/util.h>

#include <algorithm>
#include <climits>

#include "failure.h"

namespace vorel_tool {
namespace {

Picture decode_at(const PngRequest &request, const PixelFormat &format, Size size, int32_t sample) {
    if (picture_bytes(format, size.width, size.height) > INT32_MAX)
        throw Failure(request.path + ": the picture is larger than 2 GiB");
    Picture out = make_picture(format, size.width, size.height);
    const bool memory = request.memory != nullptr;
    const void *source = memory ? request.memory->source : request.path.c_str();
    if (decodeVPNG(source, memory ? request.memory->size : 0, memory ? vpng_read_fn : nullptr, out.bytes.data(),
                   size.width, size.height, sample, format.code) != 1)
        throw Failure(request.path + ": cannot be decoded");
    return out;
}

// Height and width go by the same factor, which is at most 1: into the rectangle, or with `cover` all over it.
Size shown_size(Size picture, Size rectangle, const std::string &fit) {
    if (fit == "stretch") return rectangle;
    const double across = static_cast<double>(rectangle.width) / picture.width;
    const double down = static_cast<double>(rectangle.height) / picture.height;
    const bool by_width = fit == "cover" ? across > down : across < down;
    if ((by_width ? across : down) >= 1) return picture;
    // Rounded up, as the library fits a JPEG.
    const auto scaled = [](int64_t side, int64_t to, int64_t from) {
        return static_cast<int32_t>((side * to + from - 1) / from);
    };
    if (by_width) return {rectangle.width, scaled(picture.height, rectangle.width, picture.width)};
    return {scaled(picture.width, rectangle.height, picture.height), rectangle.height};
}

// A decode leaves rows out where the picture is not higher than what it is decoded to.
Picture decode_sized(const PngRequest &request, const PixelFormat &format, Size size) {
    const Size own = request.size;
    if (size.width == own.width && size.height == own.height) return decode_at(request, format, own, 1);
    if (size.width <= own.width && size.height < own.height) return decode_at(request, format, size, 0);
    const Picture whole = decode_at(request, format, own, 1);
    if (picture_bytes(format, size.width, size.height) > INT32_MAX)
        throw Failure(request.path + ": the picture is larger than 2 GiB");
    Picture out = make_picture(format, size.width, size.height);
    // A resized byte is at most 252: one that stays as it was is the sign of a resize that had no memory.
    constexpr uint8_t kUntouched = 255;
    out.bytes.back() = kUntouched;
    vorel_resize_rgba8888(whole.bytes.data(), out.bytes.data(), own.width, own.height, size.width, size.height);
    if (out.bytes.back() == kUntouched) throw Failure(request.path + ": not enough memory to resize");
    return out;
}

void turn(const PngRequest &request, Picture *picture) {
    if (request.rotate == 0) return;
    if (!vorel_rotate(picture->bytes.data(), picture->width, picture->height, picture->format->code, request.rotate))
        throw Failure(request.path + ": not enough memory to turn it");
    if (request.rotate != 180) std::swap(picture->width, picture->height);
}

// Lays the picture into the rectangle; what does not fit is cut off.
Picture place(const Picture &part, Size target, bool centred) {
    Picture out = make_picture(*part.format, target.width, target.height);
    // Along one side: where the picture begins in the rectangle, or the rectangle in the picture.
    const auto margin = [&](int32_t outer, int32_t inner) { return centred ? (outer - inner) / 2 : 0; };
    const int32_t left = margin(target.width, part.width), top = margin(target.height, part.height);
    const int32_t width = std::min(target.width, part.width), height = std::min(target.height, part.height);
    const auto at = [](const Picture &picture, int32_t x, int32_t y) {
        return (static_cast<size_t>(y) * static_cast<size_t>(picture.width) + static_cast<size_t>(x)) * 4;
    };
    for (int32_t y = 0; y < height; ++y) {
        std::copy_n(&part.bytes[at(part, std::max(0, -left), std::max(0, -top) + y)], static_cast<size_t>(width) * 4,
                    &out.bytes[at(out, std::max(0, left), std::max(0, top) + y)]);
    }
    return out;
}

}  // namespace

Picture decode_png(const PngRequest &request, const PixelFormat &format) {
    const bool sideways = request.rotate == 90 || request.rotate == 270;
    Size rectangle = request.target;
    if (sideways) std::swap(rectangle.width, rectangle.height);
    Picture picture = request.sized ? decode_sized(request, format, shown_size(request.size, rectangle, request.fit))
                                    : decode_at(request, format, rectangle, request.sample);
    turn(request, &picture);
    if (!request.sized || request.fit == "packed") return picture;
    return place(picture, request.target, request.fit != "topleft");
}

}  // namespace vorel_tool
