#include "raster/gif_decode.h"

namespace vorel::test {

std::vector<RasterPicture> decode_animation(DecInfo *session, const RasterTarget &target) {
    constexpr size_t kMost = 1000;
    std::vector<RasterPicture> out;
    for (int32_t result = 1; result == 1 && out.size() < kMost;) {
        GuardBuffer output(target_bytes(target));
        result = VORELBRIMI_DecodeAGIF(session, output.data(), target.width, target.height);
        out.push_back({result, session->outWidth, session->outHeight, session->frameDelay, output.bytes()});
    }
    VORELBRIMI_DeleteGIFInfo(session);
    return out;
}

std::vector<RasterPicture> decode_animation(Kind kind, const Bytes &file, const RasterTarget &target) {
    Input input(kind, file, target.format, target.options);
    return input.session() ? decode_animation(input.session(), target) : std::vector<RasterPicture>();
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
