// The vector twins of the utilities' kernels give the bytes of the scalar ones, at every width and beside no buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "util/kernels/kernels.h"
#include "util/model.h"

namespace vorel::test {
namespace {

constexpr int kWidest = 200;  // past two of the widest vectors

TEST(UtilKernels, ColourTwinsAgree) {
    for (int i = 0; i < kWidest * kChromaLayouts * 2; ++i) {
        const int width = 1 + i / 2 / kChromaLayouts, layout = i / 2 % kChromaLayouts;
        const bool paired = i % 2, planar = layout == static_cast<int>(Chroma::kPlanar);
        const unsigned seed = static_cast<unsigned>(width);
        const size_t pixels = static_cast<size_t>(width), below = paired ? pixels : 0;
        const size_t chroma = static_cast<size_t>(half_up(width)), pairs = planar ? chroma : 2 * chroma;
        const std::string what = "layout " + std::to_string(layout) + " width " + std::to_string(width);
        const auto row = [&](uint8_t *second) { return paired ? second : nullptr; };

        GuardBuffer y0(kernel_row(pixels, seed)), y1(kernel_row(pixels, seed + 1));
        GuardBuffer first(kernel_row(pairs, seed + 2)), second(kernel_row(chroma, seed + 3));
        for (int format = 0; format < kRgbFormats; ++format) {
            const size_t bytes = format == static_cast<int>(RgbFormat::kRgb) ? 3 : 4;
            expect_twins(
                runnable_util_kernels, "to format " + std::to_string(format) + " from " + what,
                [&](const UtilKernels &kernels) {
                    return whole_outputs({pixels * bytes, below * bytes}, [&](uint8_t *const *out) {
                        kernels.yuv_to_rgb[layout][format](
                            {{y0.data(), row(y1.data())}, first.data(), second.data(), width, {out[0], row(out[1])}});
                    });
                });
        }

        GuardBuffer top(kernel_row(pixels * 4, seed)), bottom(kernel_row(pixels * 4, seed + 1));
        expect_twins(runnable_util_kernels, "to " + what, [&](const UtilKernels &kernels) {
            std::vector<size_t> sizes = {pixels, below, pairs, planar ? chroma : 0};
            if (planar) sizes.insert(sizes.end(), {pixels, below, chroma, chroma});
            return whole_outputs(sizes, [&](uint8_t *const *out) {
                kernels.rgba_to_yuv[layout](
                    {{top.data(), row(bottom.data())}, width, {out[0], row(out[1])}, out[2], out[3], width % 16 == 0});
                if (!planar) return;
                const bool swapped = width % 3 == 0;
                (swapped ? kernels.bgra_to_sampled : kernels.rgba_to_sampled)(
                    {{top.data(), row(bottom.data())}, width, {out[4], row(out[5])}, out[6], out[7]});
            });
        });
    }
}

TEST(UtilKernels, PairTwinsAgree) {
    for (int count = 0; count <= kWidest; ++count) {
        const size_t bytes = static_cast<size_t>(count) * 2;
        GuardBuffer pairs(noise(bytes, 1)), first(noise(bytes / 2, 2)), second(noise(bytes / 2, 3));
        expect_twins(runnable_util_kernels, std::to_string(count), [&](const UtilKernels &kernels) {
            return whole_outputs({bytes, bytes, bytes}, [&](uint8_t *const *out) {
                kernels.swap_pairs(pairs.data(), count, out[0]);
                kernels.interleave(first.data(), second.data(), count, out[1]);
                kernels.stream_copy(pairs.data(), bytes, out[2]);
            });
        });
    }
}

TEST(UtilKernels, ResizeTwinsAgree) {
    constexpr int kSizes[] = {1, 2, 3, 5, 8, 15, 16, 17, 31, 40, 64, 65, 100, 131, 200, 500};
    for (int unit = 1; unit <= 4; ++unit) {
        for (const int src : kSizes) {
            GuardBuffer a(noise(static_cast<size_t>(src * unit), 4)), b(noise(static_cast<size_t>(src * unit), 5));
            std::vector<int> sizes(std::begin(kSizes), std::end(kSizes));
            for (const int step : {2, 4, 8})
                if (src % step == 0) sizes.push_back(src / step);
            for (size_t i = 0; i < 2 * sizes.size(); ++i) {
                const int dst = sizes[i / 2], skipped = i % 2 ? dst / 3 : 0;
                ColumnTaps taps = {src, dst, unit, skipped, dst - skipped, nullptr, nullptr};
                std::vector<int32_t> ends(static_cast<size_t>(tap_blocks(taps)));
                std::vector<TapChunk> chunks;
                if (!ends.empty()) {
                    chunks.resize(static_cast<size_t>(make_tap_chunks(taps, ends.data(), nullptr)));
                    make_tap_chunks(taps, ends.data(), chunks.data());
                    taps.chunks = chunks.data();
                    taps.chunk_ends = ends.data();
                }
                const std::string what = std::to_string(src) + " to " + std::to_string(dst);
                expect_twins(runnable_util_kernels, what + " of unit " + std::to_string(unit),
                             [&](const UtilKernels &kernels) {
                                 return whole_output(static_cast<size_t>(taps.count * unit), [&](uint8_t *out) {
                                     kernels.resize_row(taps, {a.data(), 64, b.data(), 64}, out);
                                 });
                             });
            }
        }
    }
}

TEST(UtilKernels, TurnTwinsAgree) {
    constexpr int kSizes[] = {1, 3, 4, 7, 8, 9, 15, 16, 17, 33, 64, 70};
    for (int unit = 1; unit <= 4; ++unit) {
        for (const int width : kSizes) {
            for (const int height : kSizes) {
                GuardBuffer src(noise(area(width, height) * static_cast<size_t>(unit), 6));
                const std::string what = std::to_string(width) + "x" + std::to_string(height);
                expect_twins(
                    runnable_util_kernels, what + " of unit " + std::to_string(unit), [&](const UtilKernels &kernels) {
                        return whole_output(src.size(), [&](uint8_t *out) {
                            kernels.transpose[unit]({src.data(), width * unit, out, height * unit, width, height});
                        });
                    });
            }
        }
        for (size_t count = 0; count <= kWidest; ++count) {
            const size_t bytes = count * static_cast<size_t>(unit);
            GuardBuffer src(noise(bytes, 7));
            const Bytes front = noise(bytes, 8), back = noise(bytes, 9);
            expect_twins(runnable_util_kernels, std::to_string(count) + " of unit " + std::to_string(unit),
                         [&](const UtilKernels &kernels) {
                             return whole_outputs({bytes, bytes, bytes}, [&](uint8_t *const *out) {
                                 kernels.reverse[unit](src.data(), count, out[0]);
                                 std::copy(front.begin(), front.end(), out[1]);
                                 std::copy(back.begin(), back.end(), out[2]);
                                 kernels.swap_reversed[unit](out[1], out[2], count);
                             });
                         });
        }
    }
}

}  // namespace
}  // namespace vorel::test
