// Rectangles of a picture: child sessions, the map, and that a rectangle is what the whole picture has there.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "core/core.h"
#include "jpeg/decoder/decode_support.h"
#include "oracle/turbo.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

TEST(JpegChildren, DecodeTheirRectangleFromEveryInputThatOpensAgain) {
    const Bytes jpeg = turbo_picture({.width = 300, .height = 200});
    const DecodeSpec window{.format = COLOR_RGBA8888,
                            .width = 150,
                            .height = 100,
                            .window_x = 33,
                            .window_y = 21,
                            .window_width = 64,
                            .window_height = 50};
    const Bytes expected = decode(jpeg, window).pixels;
    for (const Kind kind : kAllKinds) {
        Input input(kind, jpeg, COLOR_RGBA8888);
        SessionGuard child(BRIMJ_CreateTemporaryDecInfo(input.session(), 33, 21, 64, 50, 2));
        ASSERT_EQ(bool{child}, kind != Kind::kStdio) << static_cast<int>(kind);
        if (!child) continue;
        GuardBuffer out(expected.size());
        EXPECT_EQ(VORELBRIM_DecodeJPEG(child.get(), out.data(), 150, 100), 1);
        EXPECT_TRUE(out.bytes() == expected) << static_cast<int>(kind);
    }
}

TEST(JpegChildren, SeeTheCancelOfTheirBaseWithASlotOrWithout) {
    const Bytes jpeg = turbo_picture({});
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
    DecInfo *base = input.session();
    std::vector<std::unique_ptr<SessionGuard>> children;
    for (int i = 0; i < 34; ++i) {
        children.push_back(std::make_unique<SessionGuard>(BRIMJ_CreateTemporaryDecInfo(base, 0, 0, 64, 48, 1)));
    }
    const DecInfo *first = base->children[0];
    children.erase(children.end() - 2);  // one without a slot
    EXPECT_EQ(base->children[0], first);
    GuardBuffer out(64 * 48 * 4);
    for (const bool cancelled : {false, true}) {
        store_relaxed(&base->abortFlag, cancelled ? kAbortCancelled : 0u);
        for (const size_t child : {size_t{0}, size_t{32}}) {
            EXPECT_EQ(VORELBRIM_DecodeJPEG(children[child]->get(), out.data(), 64, 48), !cancelled) << child;
        }
    }
    const SessionGuard late(BRIMJ_CreateTemporaryDecInfo(base, 0, 0, 64, 48, 1));
    EXPECT_EQ(late->abortFlag, kAbortCancelled);
}

// ---- A rectangle is the cut of the whole

constexpr uint8_t kFill = 0x3C;  // formats that a picture does not serve keep it
constexpr int kWidth = 619, kHeight = 347;

struct Rect {
    int x, y, width, height;
};

// A base session with its map.
class Mapped {
  public:
    Mapped(const Bytes &jpeg, int32_t format, Kind kind = Kind::kMemory)
        : input_(kind, jpeg, format, VOREL_OPTION_REGION), result_(VORELBRIM_ScanHuffmanInfo(input_.session())) {}
    ~Mapped() { VORELBRIM_DestroyJpegInfo(input_.session()); }
    DecInfo *base() { return input_.session(); }
    int32_t result() const { return result_; }
    using Decoder = decltype(VORELBRIM_DecodeRegion);
    Decoded region(const Rect &at, int sample, Decoder *decoder = VORELBRIM_DecodeRegion) {
        GuardBuffer out(format_bytes(base()->outColorFormat, at.width, at.height), kFill);
        Decoded decoded;
        decoded.result = decoder(base(), out.data(), kWidth, kHeight, at.x, at.y, at.width, at.height, sample);
        decoded.pixels = out.bytes();
        return decoded;
    }

  private:
    Input input_;
    int32_t result_;
};

Bytes cut(int32_t format, const Bytes &whole, int width, int height, const Rect &at) {
    Bytes out;
    size_t base = 0;
    const std::vector<PlaneSize> planes = planes_of(format, width, height),
                                 parts = planes_of(format, at.width, at.height);
    for (size_t p = 0; p < planes.size(); ++p) {
        const PlaneSize &plane = planes[p];
        // Chroma planes begin where the luma's even place is.
        const int x = plane.width < width ? at.x / 2 : at.x, y = plane.height < height ? at.y / 2 : at.y;
        for (int row = 0; row < parts[p].height; ++row) {
            const size_t from = base + area(plane.width, y + row) * static_cast<size_t>(plane.unit) +
                                static_cast<size_t>(x * plane.unit);
            const auto begin = whole.begin() + static_cast<ptrdiff_t>(from);
            out.insert(out.end(), begin, begin + parts[p].width * plane.unit);
        }
        base += area(plane.width, plane.height) * static_cast<size_t>(plane.unit);
    }
    return out;
}

// Around MCUs of 8 to 32 pixels, the middle and the last ones.
std::vector<Rect> rectangles(int width, int height, bool even) {
    const int xs[] = {0, 7, 16, 33, width / 2, width - 21}, ys[] = {0, 9, 16, height / 2 - 1, height - 11};
    const int sizes[] = {1, 8, 17, 40, 4096};
    std::vector<Rect> out;
    for (int x : xs) {
        for (int y : ys) {
            const int step = even ? 2 : 1;
            x = std::max(0, x) / step * step, y = std::max(0, y) / step * step;
            if (x >= width || y >= height) continue;
            const int w = sizes[out.size() % 5], h = sizes[(out.size() / 5 + out.size()) % 5];
            out.push_back({x, y, std::min(w, width - x), std::min(h, height - y)});
        }
    }
    return out;
}

PictureSpec grid_picture(int sampling, bool progressive, unsigned restart, bool smooth = false) {
    constexpr struct { int h, v; } kSamplings[] = {{1, 1}, {2, 1}, {2, 2}, {1, 2}, {4, 1}, {1, 1}};
    PictureSpec out = sized(kWidth, kHeight, kSamplings[sampling].h, kSamplings[sampling].v);
    if (sampling == 5) out.colour = Colour::kGray;
    out.progressive = progressive;
    out.restart_interval = restart;
    out.smooth = smooth;
    return out;
}

TEST(JpegRegion, IsTheCutOfTheWhole) {
    size_t cases = 0;
    for (const bool progressive : {false, true}) {
        for (int sampling = 0; sampling < 6; ++sampling) {
            for (const unsigned restart : {0u, 1000u, 4u, 24u, 7u}) {
                // A row of MCUs.
                const unsigned mcu = sampling == 4 ? 32 : sampling == 1 || sampling == 2 ? 16 : 8;
                const unsigned interval = restart == 1000 ? (kWidth + mcu - 1) / mcu : restart;
                const Bytes jpeg = turbo_picture(grid_picture(sampling, progressive, interval));
                for (const int32_t format : {COLOR_RGBA8888, COLOR_RGB565, COLOR_YUV420, COLOR_NV21, COLOR_NV12}) {
                    // Sampling 4:1:1 has no map.
                    Mapped mapped(jpeg, format);
                    ASSERT_EQ(mapped.result(), sampling != 4);
                    if (sampling == 4) break;
                    for (const int sample : {1, 2, 4, 8, 16}) {
                        const int width = (kWidth + sample / 2) / sample, height = (kHeight + sample / 2) / sample;
                        const Decoded whole = decode(jpeg, {.format = format,
                                                            .width = width,
                                                            .height = height,
                                                            .options = VOREL_OPTION_FIT_STRETCH,
                                                            .fill = kFill});
                        ASSERT_EQ(whole.result, 1);
                        for (const Rect &at : rectangles(width, height, !pixel_bytes(format))) {
                            const Decoded part = mapped.region(at, sample);
                            ASSERT_EQ(part.result, 1);
                            ASSERT_TRUE(part.pixels == cut(format, whole.pixels, width, height, at))
                                << "progressive " << progressive << " sampling " << sampling << " restart " << interval
                                << " format " << format << " 1/" << sample << " at " << at.x << "," << at.y << " "
                                << at.width << "x" << at.height;
                            ++cases;
                        }
                    }
                }
            }
        }
    }
    EXPECT_GT(cases, size_t{10000});
}

}  // namespace
}  // namespace vorel::test
