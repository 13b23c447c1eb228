// What the readers make of pixels, by a slow model of each format's rules; and the coefficients that come of it, by an
// independent encoder.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "jpeg/encoder/encode_support.h"
#include "oracle/turbo.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

// The samples that a session's coder is handed: whole MCU rows, one below another.
std::vector<Plane> captured;
int32_t capture(JEInfo *session, uint8_t ***rows) {
    captured.resize(session->componentCount);
    for (size_t c = 0; c < captured.size(); ++c) {
        const JEComponent &component = session->components[c];
        captured[c].width = static_cast<int>(component.paddedWidth);
        captured[c].height += static_cast<int>(component.rowsPerMcu);
        for (uint32_t y = 0; y < component.rowsPerMcu; ++y) {
            captured[c].samples.insert(captured[c].samples.end(), rows[c][y], rows[c][y] + component.paddedWidth);
        }
    }
    ++session->coefState->mcuRow;
    __rim_jpeg_enc_setup_imcu(session);
    return 1;
}
// A session at the start of its picture, with room for little of the stream.
class CodedSession {
  public:
    explicit CodedSession(RawInfo raw) : memory_(static_cast<uint8_t *>(VORELBRIM_OsMalloc(kBytes))) {
        RimEncSink sink = {};
        sink.mode = 1, sink.capacity = kBytes, sink.buffer = memory_;
        HuffmanSpec spec = {};
        spec.quality = 90;
        session_ = __rim_jpeg_enc_initiaize(&raw, &sink, &spec, nullptr);
    }
    ~CodedSession() {
        if (session_) __rim_jpeg_enc_release_mem(session_);
        VORELBRIM_OsFree(session_);
        VORELBRIM_OsFree(memory_);
    }
    CodedSession(const CodedSession &) = delete;
    CodedSession &operator=(const CodedSession &) = delete;
    JEInfo *get() const { return session_; }
    JEInfo *operator->() const { return session_; }

  private:
    static constexpr int32_t kBytes = 4096;
    uint8_t *memory_;
    JEInfo *session_;
};
void read_on(const RawInfo &raw) {
    const CodedSession session(raw);
    ASSERT_NE(session.get(), nullptr);
    session->compressRow = capture;
    while (session->nextRow < session->height) ASSERT_EQ(__rim_jpeg_enc_process_image_data(session.get()), 1);
    EXPECT_EQ(session->sampling->rowCounter, session->mcuRowTotal);
}
std::vector<Plane> read_all(const RawInfo &raw) {
    captured.clear();
    read_on(raw);
    return captured;
}
// From a buffer that ends where the picture does.
std::vector<Plane> read_guarded(const RawPicture &picture) {
    GuardBuffer pixels(picture.pixels);
    RawInfo raw = picture.record();
    raw.pixels = pixels.data();
    return read_all(raw);
}

// What a reader has to give at any place, the padding among it.
struct Model {
    const RawPicture &picture;
    int w = picture.width, h = picture.height, format = picture.format;

    struct Rgb {
        int r, g, b;
    };
    int byte(int at) const { return picture.pixels.at(static_cast<size_t>(at)); }
    Rgb pixel(int x, int y) const {
        const int at = std::min(y, h - 1) * w + std::min(x, w - 1);
        if (format == COLOR_RGB565) {
            const int word = byte(2 * at) + 256 * byte(2 * at + 1);
            return {(word >> 11) * 8 + 4, (word >> 5 & 63) * 4 + 2, (word & 31) * 8 + 4};
        }
        const int first = format == COLOR_RGB888 ? 3 * at : 4 * at, red = format == COLOR_BGRA8888 ? 2 : 0;
        return {byte(first + red), byte(first + 1), byte(first + 2 - red)};
    }
    int weighed(int c, Rgb p) const {
        constexpr int kFine[3][3] = {{19595, 38470, 7471}, {-11059, -21709, 32768}, {32768, -27439, -5329}};
        constexpr int kCoarse[3][3] = {{1225, 2404, 467}, {-691, -1357, 2048}, {2048, -1715, -333}};
        const bool fine = format >= COLOR_RGBA8888;
        const int *k = fine ? kFine[c] : kCoarse[c];
        const int red = format == COLOR_RGB565 && c == 0 ? 1245 : k[0], sum = red * p.r + k[1] * p.g + k[2] * p.b;
        if (fine) return (sum + (c ? 32767 + (128 << 16) : 32768)) >> 16;
        return ((sum >> 12) + (c ? 128 : 0)) & 255;
    }
    int of_pixels(int c, int x, int y) const {
        const int step = c ? 2 : 1, high = 16 / step;
        if (format == COLOR_RGB888) {
            // Nothing is padded: the fill, and below the picture the MCU row before.
            if (x * step >= w) return 128;
            if (y * step >= h) return y < high ? 128 : of_pixels(c, x, y - high);
            return weighed(c, pixel(x * step, y * step));
        }
        if (format == COLOR_RGB565) {
            const int columns = w & ~1;
            if (columns == 0) return 128;
            x = std::min(x, columns / step - 1);
        }
        y = std::min(y, (h + step - 1) / step - 1);
        if (c == 0) return weighed(0, pixel(x, y));
        Rgb sum = {0, 2, 0};
        int chroma = 1 + x % 2;
        for (int i = 0; i < 4; ++i) {
            const Rgb p = pixel(2 * x + i % 2, 2 * y + i / 2);
            sum = {sum.r + p.r, sum.g + p.g, sum.b + p.b};
            chroma += weighed(c, p);
        }
        return format == COLOR_RGB565 ? weighed(c, {sum.r >> 2, sum.g >> 2, sum.b >> 2}) : chroma >> 2;
    }
    int sample(int c, int x, int y) const {
        if (format <= COLOR_RGB888 || format == COLOR_RGBA8888 || format == COLOR_BGRA8888) return of_pixels(c, x, y);
        const bool wide = format == COLOR_YUV440 || format == COLOR_YUV444 || c == 0;
        const bool tall = format == COLOR_YUV422 || format == COLOR_YUV444 || format == COLOR_YUYV || c == 0;
        const int columns = wide ? w : (w + 1) / 2, rows = tall ? h : (h + 1) / 2;
        // Packed chroma is padded to half the width of luma's blocks.
        if (format == COLOR_YUYV && c > 0 && x >= (w + 7) / 8 * 4) return 128;
        x = std::min(x, columns - 1), y = std::min(y, rows - 1);
        if (format == COLOR_YUYV) {
            const int in_row = c == 0 ? 2 * x : 4 * x + 2 * c - 1;
            return byte(y * (2 * w + (2 * w & 3)) + in_row);
        }
        if (c == 0) return byte(y * w + x);
        const int at = y * columns + x, last = columns * rows - 1;
        if (format == COLOR_NV21) return byte(w * h + 2 * at + (c == 1));
        // Cb of the pair behind, but for the last one.
        if (format == COLOR_NV12) return byte(w * h + 2 * (c == 1 ? std::min(at + 1, last) : at) + c / 2);
        return byte(w * h + (c - 1) * columns * rows + at);
    }
    void expect(const std::vector<Plane> &planes) const {
        ASSERT_EQ(planes.size(), format == COLOR_GRAY ? 1u : 3u);
        int c = 0;
        for (const Plane &plane : planes) {
            for (int i = 0; i < plane.width * plane.height; ++i) {
                const int x = i % plane.width, y = i / plane.width;
                ASSERT_EQ(plane.at(x, y), sample(c, x, y))
                    << "format " << format << " " << w << "x" << h << " component " << c << " " << x << "," << y;
            }
            ++c;
        }
    }
};

TEST(EncoderInput, ReadersFollowTheirRules) {
    for (const auto &[w, h] : {std::pair{1, 1}, {2, 3}, {5, 5}, {17, 9}, {16, 16}, {33, 35}, {130, 18}, {71, 64}}) {
        for (const int32_t format : kReadFormats) {
            for (const RawPicture &picture : {raw_noise(format, w, h), raw_picture(format, w, h)}) {
                Model{picture}.expect(read_guarded(picture));
            }
        }
    }
    // Each RGB565 value once, neighbours far apart; the cube in steps of five.
    for (const int32_t format : {COLOR_RGB565, COLOR_RGB888, COLOR_RGBA8888, COLOR_BGRA8888}) {
        RawPicture all = raw_noise(format, 376, 374);
        const size_t step = all.pixels.size() / 376 / 374;
        for (size_t i = 0; i < size_t{52} * 52 * 52; ++i) {
            const size_t value = i * 40503, cube[3] = {i % 52 * 5, i / 52 % 52 * 5, i / 52 / 52 * 5};
            for (size_t byte = 0; byte < std::min(step, size_t{3}); ++byte) {
                all.pixels[step * i + byte] = static_cast<uint8_t>(step == 2 ? value >> 8 * byte : cube[byte]);
            }
        }
        Model{all}.expect(read_guarded(all));
    }
}

TEST(EncoderInput, AReaderByItselfFillsTheRecordsRows) {
    const RawPicture picture = raw_noise(COLOR_YUV420, 64, 16);
    const CodedSession session(picture.record());
    ASSERT_NE(session.get(), nullptr);
    EXPECT_EQ(__rim_jpeg_enc_get_raw_data(session.get()), 1);
    for (int y = 0; y < 16; ++y) {
        const uint8_t *row = session->sampling->rows[0][y];
        EXPECT_TRUE(std::equal(row, row + 64, picture.pixels.begin() + 64 * y)) << y;
    }
}

// The strips of a picture are read as the picture is; of NV12 the last Cb of each is in the next one.
TEST(EncoderInput, StripsAreReadAsTheWhole) {
    for (const int32_t format : {COLOR_NV12, COLOR_NV21, COLOR_YUV420, COLOR_YUYV}) {
        const RawPicture picture = raw_noise(format, 37, 43);
        const std::vector<Plane> whole = read_guarded(picture);
        RawInfo raw = picture.record();
        raw.stripMode = 1, raw.fullHeight = 43;
        captured.clear();
        for (raw.stripStartRow = 0; raw.stripStartRow < 43; raw.stripStartRow += 16) {
            raw.height = std::min(16, 43 - static_cast<int32_t>(raw.stripStartRow));
            read_on(raw);
        }
        for (size_t c = 0; c < 3; ++c) EXPECT_TRUE(captured[c].samples == whole[c].samples) << format << " " << c;
    }
}

TEST(EncoderInput, CoefficientsAreThoseOfAnIndependentEncoder) {
    for (const int32_t format : {COLOR_YUV420, COLOR_YUV422, COLOR_YUV440, COLOR_YUV444, COLOR_GRAY}) {
        for (const int quality : {1, 20, 50, 75, 92, 100}) {
            for (const auto &[w, h] : {std::pair{8, 8}, {31, 17}, {123, 57}}) {
                const RawPicture picture = quality % 2 ? raw_noise(format, w, h) : raw_picture(format, w, h);
                CodedPicture coded = {.width = w, .height = h, .components = {}};
                coded.colour = format == COLOR_GRAY ? Colour::kGray : Colour::kYcc;
                coded.max_h = format == COLOR_YUV420 || format == COLOR_YUV422 ? 2 : 1;
                coded.max_v = format == COLOR_YUV420 || format == COLOR_YUV440 ? 2 : 1;
                for (const Plane &plane : read_guarded(picture)) coded.components.push_back({.plane = plane});
                coded.components[0].h = coded.max_h, coded.components[0].v = coded.max_v;
                const auto expected = turbo_coefficients(turbo_encode(coded, quality));
                const auto got = turbo_coefficients(encode(picture, {.quality = quality}));
                ASSERT_EQ(got.size(), expected.size());
                for (size_t c = 0; c < got.size(); ++c) {
                    ASSERT_TRUE(got[c].coefficients == expected[c].coefficients)
                        << "format " << format << " quality " << quality << " " << w << "x" << h << " " << c;
                }
            }
        }
    }
}

TEST(EncoderInput, RecordsOwnTheirPixels) {
    struct Case {
        int32_t width, height, format;
        bool made;
        uint32_t error, kept;
    };
    std::vector<Case> cases = {{0, 4, 7, false, 12, 0},    {4, -1, 7, false, 12, 0}, {50000, 1, 7, false, 0, 0},
                               {1, 50000, 4, false, 0, 0}, {4, 4, 99, true, 7, 0},   {4, 4, -1, true, 7, 0},
                               {3, 3, 5, true, 0, 5},      {3, 3, 6, true, 0, 6}};
    for (const int32_t format : kReadFormats) cases.push_back({5, 5, format, true, 0, static_cast<uint32_t>(format)});
    for (const Case &c : cases) {
        debug_BrimCodecError = 0;
        RawInfo *raw = VORELBRIM_CreateRawInfo(c.width, c.height, c.format);
        ASSERT_EQ(raw != nullptr, c.made) << c.format;
        EXPECT_EQ(debug_BrimCodecError, c.error) << c.width << " " << c.format;
        if (raw) {
            EXPECT_EQ(raw->format, c.kept);
            EXPECT_EQ(raw->formatTag, 2u);
            // What is read of it is there; sanitized builds see it if not.
            EXPECT_EQ(read_all(*raw).size(), c.format == COLOR_GRAY ? 1u : 3u);
        }
        EXPECT_EQ(VORELBRIM_DestroyRawInfo(raw), 1);
    }
}

TEST(EncoderInput, CameraPicturesAreHalvedAndConverted) {
    const RawPicture source = raw_noise(COLOR_YUYV, 36, 20);
    constexpr size_t kLuma = 18 * 10, kChroma = 9 * 5;
    GuardBuffer pixels(source.pixels), planar(kLuma + 2 * kChroma);
    uint8_t *planes[3] = {planar.data(), planar.data() + kLuma, planar.data() + kLuma + kChroma};
    __rim_jpeg_enc_down_scale_yuv422(pixels.data(), 36, 20, 0, planes, 18, 10);
    GuardBuffer pairs(planar.bytes()), from_planes(2 * kLuma), from_pairs(2 * kLuma);
    for (size_t i = 0; i < 2 * kChroma; ++i) pairs.data()[kLuma + i] = planes[1 + i % 2][i / 2];
    rim_EyeYUV420toRGB565(planar.data(), 18, 10, reinterpret_cast<uint16_t *>(from_planes.data()));
    rim_EyePYV0420toRGB565(pairs.data(), 18, 10, reinterpret_cast<uint16_t *>(from_pairs.data()));
    EXPECT_TRUE(from_planes.bytes() == from_pairs.bytes());
    const Model model{source};
    for (int i = 0; i < static_cast<int>(kLuma); ++i) {
        const int x = i % 18, row = i / 18, chroma = row / 2 * 9 + x / 2;
        const auto mean = [&](int c, int column, int down) {
            const int left = c ? column : 2 * column, right = c ? column : 2 * column + 1;
            return (model.sample(c, left, 2 * down) + model.sample(c, right, 2 * down) +
                    model.sample(c, left, 2 * down + 1) + model.sample(c, right, 2 * down + 1)) /
                   4;
        };
        const int y = mean(0, x, row), u = mean(1, x & ~1, row & ~1), v = mean(2, x & ~1, row & ~1);
        ASSERT_EQ(planes[0][i], y) << i;
        ASSERT_EQ(planes[1][chroma], u) << i;
        ASSERT_EQ(planes[2][chroma], v) << i;
        // 127 is the middle, and ties go away from zero.
        const auto clamp = [](long value) { return static_cast<int>(std::clamp(value, 0L, 255L)); };
        const int r = clamp(y + std::lround(1.402 * (v - 127))), b = clamp(y + std::lround(1.772 * (u - 127)));
        const int g = clamp(y + ((32768 - 22554 * (u - 127) - 46802 * (v - 127)) >> 16));
        ASSERT_EQ(from_planes.data()[2 * i] | from_planes.data()[2 * i + 1] << 8, r / 8 << 11 | g / 4 << 5 | b / 8)
            << i;
    }
    EXPECT_EQ(rim_EnCbbTab[127 + 125], 222);
    EXPECT_EQ(rim_EnCbbTab[127 - 125], -222);
    EXPECT_EQ(rim_EnRangeTalbe[511] + rim_EnRangeTalbe[512 + 200] + rim_EnRangeTalbe[1023], 200 + 255);
}

}  // namespace
}  // namespace vorel::test
