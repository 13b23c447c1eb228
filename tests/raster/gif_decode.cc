#include "raster/gif_decode.h"

#include <algorithm>

namespace vorel::test {
namespace {

size_t buffer_bytes(GifSize screen, const GifTarget &target) {
    const GifSize buffer = gif_buffer_size(screen, target);
    return static_cast<size_t>(std::max(buffer.width, 0)) * static_cast<size_t>(std::max(buffer.height, 0)) *
           static_cast<size_t>(gif_pixel_bytes(target.format));
}

}  // namespace

GifPicture decode_gif(Kind kind, const Bytes &file, GifSize screen, const GifTarget &target, uint8_t fill) {
    GifPicture out;
    GuardBuffer output(buffer_bytes(screen, target), fill);
    Input input(kind, file, target.format, target.options);
    if (input.session()) {
        out.result = VORELBRIMI_DecodeGIF(input.session(), output.data(), target.width, target.height);
        out.width = input.session()->outWidth;
        out.height = input.session()->outHeight;
    }
    out.pixels = output.bytes();
    return out;
}

std::vector<GifPicture> decode_animation(DecInfo *session, GifSize screen, const GifTarget &target, size_t most,
                                         uint8_t fill) {
    std::vector<GifPicture> out;
    for (int32_t result = 1; result == 1 && out.size() < most;) {
        GuardBuffer output(buffer_bytes(screen, target), fill);
        result = VORELBRIMI_DecodeAGIF(session, output.data(), target.width, target.height);
        out.push_back({result, session->outWidth, session->outHeight, session->frameDelay, output.bytes()});
    }
    VORELBRIMI_DeleteGIFInfo(session);
    return out;
}

std::vector<GifPicture> decode_animation(Kind kind, const Bytes &file, GifSize screen, const GifTarget &target) {
    Input input(kind, file, target.format, target.options);
    if (!input.session()) return {};
    return decode_animation(input.session(), screen, target);
}

GifFile random_gif(std::mt19937 &random, int most_side, int colours, int frames) {
    const auto any = [&](int below) { return static_cast<int>(random() % static_cast<uint32_t>(below)); };
    GifFile file;
    file.width = 1 + any(most_side);
    file.height = 1 + any(most_side);
    file.background = any(colours);
    if (any(6) != 0) file.palette = gif_palette(random, colours);
    for (int i = 0; i < frames; ++i) {
        GifFrame frame;
        const bool whole = any(3) == 0;
        frame.left = whole ? 0 : any(file.width + 3);
        frame.top = whole ? 0 : any(file.height + 3);
        frame.width = whole ? file.width : 1 + any(file.width + 3);
        frame.height = whole ? file.height : 1 + any(file.height + 3);
        frame.interlaced = any(2) != 0;
        if (file.palette.empty() || any(3) == 0) frame.palette = gif_palette(random, colours);
        frame.indices = gif_picture(random, frame.width, frame.height, colours);
        frame.disposal = any(8);
        if (any(2) != 0) frame.transparent = any(std::min(colours + 2, 256));
        frame.delay = any(300);
        frame.control = any(5) != 0;
        file.frames.push_back(std::move(frame));
    }
    return file;
}

}  // namespace vorel::test
