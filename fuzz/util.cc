// Utilities on frames of any content and size: the forms on threads give what the single ones give, every byte of an
// output is written, four quarter turns are nothing, a canvas takes what fits.
#include <vorel/util.h>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

// As many bytes as asked for, the input over and over.
Bytes filled(const Bytes &pattern, size_t size) {
    Bytes bytes(size);
    uint8_t *out = bytes.data();
    for (size_t i = 0, at = 0; i < size; ++i, at = at + 1 == pattern.size() ? 0 : at + 1)
        out[i] = static_cast<uint8_t>(pattern[at] + i / 251);
    return bytes;
}

struct Sizes {
    int32_t src_width, src_height, dst_width, dst_height;
};

using Convert = void (*)(int32_t, int32_t, const uint8_t *, uint8_t *);
void convert(const Bytes &pattern, const Sizes &s, uint32_t choice) {
    struct Pair {
        Convert single, threaded;
        int32_t from, to;
    };
    constexpr Pair kPairs[] = {
        {_nv12_to_rgba8888_sg, _nv12_to_rgba8888_tps, COLOR_NV12, COLOR_RGBA8888},
        {_nv21_to_rgb888_sg, _nv21_to_rgb888_tps, COLOR_NV21, COLOR_RGB888},
        {_yuv420_to_bgra8888_sg, _yuv420_to_bgra8888_tps, COLOR_YUV420, COLOR_BGRA8888},
        {_rgba8888_to_nv21_sg, _rgba8888_to_nv21_tps, COLOR_RGBA8888, COLOR_NV21},
        {_rgba8888_to_yuv420_sg, rgba8888_to_yuv420, COLOR_RGBA8888, COLOR_YUV420},
        {_yuv420_to_nv12_sg, _yuv420_to_nv12_tps, COLOR_YUV420, COLOR_NV12},
    };
    const Pair &pair = kPairs[choice % 6];
    const Bytes src = filled(pattern, format_bytes(pair.from, s.src_width, s.src_height));
    Bytes single(format_bytes(pair.to, s.src_width, s.src_height), kFill), threaded(single.size(), kOtherFill);
    pair.single(s.src_width, s.src_height, src.data(), single.data());
    pair.threaded(s.src_width, s.src_height, src.data(), threaded.data());
    require(single == threaded, "a converter gives the same on threads, and writes every byte");
}

using Resize = void (*)(const uint8_t *, uint8_t *, int32_t, int32_t, int32_t, int32_t);
void resize(const Bytes &pattern, const Sizes &s, uint32_t choice) {
    struct Pair {
        Resize single, threaded;
        int32_t format;
    };
    constexpr Pair kPairs[] = {
        {vorel_resize_yuv420_sg, vorel_resize_yuv420_tps, COLOR_YUV420},
        {vorel_resize_nv21_sg, vorel_resize_nv21_tps, COLOR_NV21},
        {vorel_resize_rgba8888_sg, vorel_resize_rgba8888_tps, COLOR_RGBA8888},
        {vorel_resize_rgb888, vorel_resize_rgb888, COLOR_RGB888},
    };
    const Pair &pair = kPairs[choice % 4];
    const Bytes src = filled(pattern, format_bytes(pair.format, s.src_width, s.src_height));
    Bytes single(format_bytes(pair.format, s.dst_width, s.dst_height), kFill), threaded(single.size(), kOtherFill);
    pair.single(src.data(), single.data(), s.src_width, s.src_height, s.dst_width, s.dst_height);
    pair.threaded(src.data(), threaded.data(), s.src_width, s.src_height, s.dst_width, s.dst_height);
    require(single == threaded, "a resizer gives the same on threads, and writes every byte");
}

void resize_into_canvas(const Bytes &pattern, const Sizes &s, uint32_t choice) {
    const Bytes src = filled(pattern, format_bytes(COLOR_RGBA8888, s.src_width, s.src_height));
    const auto run = [&](uint8_t fill) {
        Bytes pixels(format_bytes(COLOR_RGBA8888, s.dst_width, s.dst_height), fill);
        ResizeCanvas canvas = {pixels.data(),
                               s.dst_width,
                               s.dst_height,
                               static_cast<int32_t>(pattern[0]) - 128,
                               static_cast<int32_t>(pattern.back()) - 128,
                               static_cast<int32_t>(choice)};
        const uint8_t *pairs = src.data() + s.src_width * s.src_height;
        if (choice % 2) {
            vorel_resize_rgba8888_keep_ratio(src.data(), &canvas, s.src_width, s.src_height);
        } else {
            vorel_resize_y_nv21_to_rgba_keep_ratio(src.data(), pairs, &canvas, s.src_width, s.src_height);
        }
        return pixels;
    };
    const Bytes first = run(kFill), second = run(kOtherFill);
    require(first == second || (first == Bytes(first.size(), kFill) && second == Bytes(first.size(), kOtherFill)),
            "a canvas is written whole or not at all");
}

void rotate(const Bytes &pattern, const Sizes &s, uint32_t choice) {
    constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGB888, COLOR_YUV420, COLOR_RGBA8888, COLOR_NV21};
    const int32_t format = kFormats[choice % 5], angle = choice & 64 ? 270 : 90;
    const Bytes src = filled(pattern, format_bytes(format, s.src_width, s.src_height));
    Bytes frame = src;
    Sizes size = s;
    for (int turn = 0; turn < 4; ++turn) {
        require(vorel_rotate(frame.data(), size.src_width, size.src_height, format, angle) == 1, "a frame is turned");
        if (turn == 1) {
            Bytes half = src;
            vorel_fast_rotate(half.data(), s.src_width, s.src_height, format, 180);
            require(half == frame, "two quarter turns are a half turn");
        }
        std::swap(size.src_width, size.src_height);
    }
    require(frame == src, "four quarter turns are nothing");
}

}  // namespace

const std::vector<Bounded> vorel_fuzz::kSmallFrames = {{3, 63, 0}, {4, 63, 0}, {5, 63, 0}, {6, 63, 0}, {7, 255, 1}};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 7);
    const uint32_t choice = input.option(), what = input.option();
    Sizes sizes = {input.side(), input.side(), input.side(), input.side()};
    // Some frames are high enough to be worked on by threads.
    if (input.option() % 8 == 0) sizes.src_height += 1200;
    if (input.picture().empty()) return 0;
    constexpr void (*kWorks[])(const Bytes &, const Sizes &, uint32_t) = {convert, resize, resize_into_canvas, rotate};
    kWorks[what % 4](input.picture(), sizes, choice);
    return 0;
}
