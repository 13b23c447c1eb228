// The vector twins of the utilities' kernels give the bytes of the scalar ones, at every width and beside no buffer.
#include <gtest/gtest.h>

#include <vector>

#include "util/kernels/kernels.h"
#include "util/model.h"

namespace vorel::test {
namespace {

std::vector<const UtilKernels *> vector_tables() {
    const UtilKernels *tables[kMaxKernelTables];
    const int count = runnable_util_kernels(tables);
    std::string names;
    for (int i = 0; i < count; ++i) names += std::string(i ? ", " : "") + tables[i]->name;
    testing::Test::RecordProperty("targets", names);
    return {tables + 1, tables + count};
}

constexpr int kWidest = 200;  // past two of the widest vectors

// Noise, and the values at the ends of the range.
Bytes samples(size_t size, unsigned seed) {
    if (seed % 4 == 3) return Bytes(size, seed % 8 == 3 ? 0 : 255);
    Bytes bytes = noise(size, seed);
    if (seed % 4 == 2)
        for (uint8_t &byte : bytes) byte = byte & 1 ? 255 : 0;
    return bytes;
}

TEST(UtilKernels, FromYuvTwinsAgree) {
    for (const UtilKernels *table : vector_tables()) {
        for (int width = 1; width <= kWidest; ++width) {
            const unsigned seed = static_cast<unsigned>(width);
            GuardBuffer y0(samples(static_cast<size_t>(width), seed)),
                y1(samples(static_cast<size_t>(width), seed + 1));
            const size_t chroma = static_cast<size_t>(half_up(width));
            for (int layout = 0; layout < kChromaLayouts; ++layout) {
                const bool planar = layout == static_cast<int>(Chroma::kPlanar);
                GuardBuffer first(samples(planar ? chroma : 2 * chroma, seed + 2)), second(samples(chroma, seed + 3));
                for (int format = 0; format < kRgbFormats; ++format) {
                    const size_t bytes =
                        static_cast<size_t>(width) * (format == static_cast<int>(RgbFormat::kRgb) ? 3 : 4);
                    for (const bool paired : {true, false}) {
                        const auto run = [&](const UtilKernels &kernels, int row) {
                            return whole_output(bytes, [&](uint8_t *out) {
                                GuardBuffer other(bytes);
                                uint8_t *rows[2] = {row ? other.data() : out, row ? out : other.data()};
                                kernels.yuv_to_rgb[layout][format]({{y0.data(), paired ? y1.data() : nullptr},
                                                                    first.data(),
                                                                    second.data(),
                                                                    width,
                                                                    {rows[0], paired ? rows[1] : nullptr}});
                            });
                        };
                        for (int row = 0; row < (paired ? 2 : 1); ++row)
                            ASSERT_TRUE(run(*table, row) == run(scalar_util_kernels(), row))
                                << table->name << " layout " << layout << " format " << format << " width " << width;
                    }
                }
            }
        }
    }
}

TEST(UtilKernels, ToYuvTwinsAgree) {
    for (const UtilKernels *table : vector_tables()) {
        for (int width = 1; width <= kWidest; ++width) {
            const size_t pixels = static_cast<size_t>(width), chroma = static_cast<size_t>(half_up(width));
            GuardBuffer top(samples(pixels * 4, static_cast<unsigned>(width)));
            GuardBuffer bottom(samples(pixels * 4, static_cast<unsigned>(width) + 1));
            for (int layout = 0; layout < kChromaLayouts; ++layout) {
                const bool planar = layout == static_cast<int>(Chroma::kPlanar);
                for (const bool paired : {true, false}) {
                    // All outputs behind one another, each in turn at the end.
                    const auto run = [&](const UtilKernels &kernels) {
                        Bytes all;
                        for (const uint8_t fill : {0x11, 0xEE}) {
                            GuardBuffer y0(pixels, fill), y1(pixels, fill), first(planar ? chroma : 2 * chroma, fill),
                                second(chroma, fill);
                            kernels.rgba_to_yuv[layout]({{top.data(), paired ? bottom.data() : nullptr},
                                                         width,
                                                         {y0.data(), paired ? y1.data() : nullptr},
                                                         first.data(),
                                                         second.data()});
                            for (GuardBuffer *part : {&y0, &y1, &first, &second}) {
                                const Bytes bytes = part->bytes();
                                all.insert(all.end(), bytes.begin(), bytes.end());
                            }
                        }
                        return all;
                    };
                    ASSERT_TRUE(run(*table) == run(scalar_util_kernels()))
                        << table->name << " layout " << layout << " width " << width;
                }
            }
        }
    }
}

TEST(UtilKernels, PairTwinsAgree) {
    for (const UtilKernels *table : vector_tables()) {
        for (int count = 0; count <= kWidest; ++count) {
            const size_t bytes = static_cast<size_t>(count) * 2;
            GuardBuffer pairs(noise(bytes, 1)), first(noise(bytes / 2, 2)), second(noise(bytes / 2, 3));
            const auto swapped = [&](const UtilKernels &kernels) {
                return whole_output(bytes, [&](uint8_t *out) { kernels.swap_pairs(pairs.data(), count, out); });
            };
            const auto mixed = [&](const UtilKernels &kernels) {
                return whole_output(bytes,
                                    [&](uint8_t *out) { kernels.interleave(first.data(), second.data(), count, out); });
            };
            ASSERT_TRUE(swapped(*table) == swapped(scalar_util_kernels())) << table->name << count;
            ASSERT_TRUE(mixed(*table) == mixed(scalar_util_kernels())) << table->name << count;
        }
    }
}

TEST(UtilKernels, ResizeTwinsAgree) {
    constexpr int kSizes[] = {1, 2, 3, 5, 8, 15, 16, 17, 31, 40, 64, 65, 100, 131, 200, 500};
    for (const UtilKernels *table : vector_tables()) {
        for (int unit = 1; unit <= 4; ++unit) {
            for (const int src : kSizes) {
                GuardBuffer a(noise(static_cast<size_t>(src * unit), 4)), b(noise(static_cast<size_t>(src * unit), 5));
                std::vector<int> sizes(std::begin(kSizes), std::end(kSizes));
                for (const int step : {2, 4, 8})
                    if (src % step == 0) sizes.push_back(src / step);
                for (const int dst : sizes) {
                    for (const int skipped : {0, dst / 3}) {
                        ColumnTaps taps = {src, dst, unit, skipped, dst - skipped, nullptr, nullptr};
                        std::vector<int32_t> ends(static_cast<size_t>(tap_blocks(taps)));
                        std::vector<TapChunk> chunks;
                        if (!ends.empty()) {
                            chunks.resize(static_cast<size_t>(make_tap_chunks(taps, ends.data(), nullptr)));
                            make_tap_chunks(taps, ends.data(), chunks.data());
                            taps.chunks = chunks.data();
                            taps.chunk_ends = ends.data();
                        }
                        const auto run = [&](const UtilKernels &kernels) {
                            return whole_output(static_cast<size_t>(taps.count * unit), [&](uint8_t *out) {
                                kernels.resize_row(taps, {a.data(), 64, b.data(), 64}, out);
                            });
                        };
                        ASSERT_TRUE(run(*table) == run(scalar_util_kernels()))
                            << table->name << " unit " << unit << " " << src << " to " << dst << " from " << skipped;
                    }
                }
            }
        }
    }
}

TEST(UtilKernels, TurnTwinsAgree) {
    constexpr int kSizes[] = {1, 3, 4, 7, 8, 9, 15, 16, 17, 33, 64, 70};
    for (const UtilKernels *table : vector_tables()) {
        for (int unit = 1; unit <= 4; ++unit) {
            for (const int width : kSizes) {
                for (const int height : kSizes) {
                    GuardBuffer src(noise(area(width, height) * static_cast<size_t>(unit), 6));
                    const auto turned = [&](const UtilKernels &kernels) {
                        return whole_output(src.size(), [&](uint8_t *out) {
                            kernels.transpose[unit]({src.data(), width * unit, out, height * unit, width, height});
                        });
                    };
                    ASSERT_TRUE(turned(*table) == turned(scalar_util_kernels()))
                        << table->name << " unit " << unit << " " << width << "x" << height;
                }
            }
            for (size_t count = 0; count <= kWidest; ++count) {
                const size_t bytes = count * static_cast<size_t>(unit);
                GuardBuffer src(noise(bytes, 7));
                const auto reversed = [&](const UtilKernels &kernels) {
                    return whole_output(bytes, [&](uint8_t *out) { kernels.reverse[unit](src.data(), count, out); });
                };
                const auto swapped = [&](const UtilKernels &kernels) {
                    GuardBuffer a(noise(bytes, 8)), b(noise(bytes, 9));
                    kernels.swap_reversed[unit](a.data(), b.data(), count);
                    Bytes both = a.bytes();
                    const Bytes back = b.bytes();
                    both.insert(both.end(), back.begin(), back.end());
                    return both;
                };
                ASSERT_TRUE(reversed(*table) == reversed(scalar_util_kernels())) << table->name << " " << count;
                ASSERT_TRUE(swapped(*table) == swapped(scalar_util_kernels())) << table->name << " " << count;
            }
        }
    }
}

// Whole frames by every table, through the public functions.
TEST(UtilKernels, EveryTableGivesTheSameFrames) {
    const Bytes yuv = noise(yuv_bytes(131, 77), 10), rgba = noise(area(131, 77) * 4, 11);
    const auto all = [&] {
        Bytes out(area(131, 77) * 4 * 4);
        uint8_t *at = out.data();
        nv21_to_bgra8888(131, 77, yuv.data(), at);
        rgba8888_to_yuv420(131, 77, rgba.data(), at += area(131, 77) * 4);
        vorel_resize_yuv420(yuv.data(), at += area(131, 77) * 4, 131, 77, 90, 60);
        vorel_resize_rgb888(rgba.data(), at += area(131, 77) * 2, 131, 77, 50, 99);
        return out;
    };
    limit_simd_targets(SimdTarget::kScalar);
    const Bytes expected = all();
    for (int widest = 1; widest <= kSimdTargets; ++widest) {
        limit_simd_targets(static_cast<SimdTarget>(widest));
        EXPECT_TRUE(all() == expected) << util_kernels().name;
    }
}

}  // namespace
}  // namespace vorel::test
