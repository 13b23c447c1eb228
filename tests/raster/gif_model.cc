#include "raster/gif_model.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vorel::test {
namespace {

size_t at(int value) { return static_cast<size_t>(value); }

// The palette's word in a format. Of byte 0 the low bit is lost.
uint32_t word_of(const Bytes &palette, int index, int format) {
    if (at(index) * 3 + 2 >= palette.size()) return 0;
    const uint8_t *rgb = palette.data() + at(index) * 3;
    const uint32_t low = rgb[format == 8 ? 2 : 0], high = rgb[format == 8 ? 0 : 2];
    return 255u << 24 | high << 16 | uint32_t{rgb[1]} << 8 | (low & ~1u);
}

bool stores_words(const RasterTarget &target) {
    return target.format == COLOR_RGBA8888 || target.format == COLOR_BGRA8888;
}

// What a graphic control leaves for a frame with so many colours.
int transparent_of(int index, const Bytes &palette) { return at(index) > palette.size() / 3 ? -1 : index; }

// The source row or column in the middle of each output one.
std::vector<int> middle_taps(int source, int out) {
    std::vector<int> taps;
    for (int k = 0; k < out; ++k) taps.push_back(static_cast<int>((source / 2 + int64_t{k} * source) / out));
    return taps;
}

// For every output pixel of the shown picture: the frame's index there, -1 where it has none. Of output rows that share
// a source row only the first one has any.
std::vector<int> indices_of(const GifFile &file, const GifFrame &frame, RasterSize shown) {
    const auto columns = middle_taps(file.width, shown.width), rows = middle_taps(file.height, shown.height);
    std::vector<int> out;
    for (size_t y = 0; y < rows.size(); ++y)
        for (const int source_column : columns) {
            const int column = source_column - frame.left, row = rows[y] - frame.top;
            const bool inside = row >= 0 && row < frame.height && column >= 0 && column < frame.width;
            const bool repeated = y > 0 && rows[y] == rows[y - 1];
            out.push_back(inside && !repeated ? frame.indices[at(row) * at(frame.width) + at(column)] : -1);
        }
    return out;
}

RasterSize shown_size(const GifFile &file, const RasterTarget &target) {
    return fitted({file.width, file.height}, target);
}

}  // namespace

Bytes model_gif_still(const GifFile &file, const RasterTarget &target, uint8_t untouched) {
    Bytes before = target_bytes(target, untouched);
    const GifFrame &frame = file.frames.front();
    const Bytes &palette = file.palette_of(frame);
    const int transparent = transparent_of(frame.control ? frame.transparent : -1, palette);
    const RasterSize shown = shown_size(file, target);
    // The background.
    const int fill = transparent >= 0 ? transparent : file.background;
    const uint32_t word = word_of(palette, fill, target.format);
    Rgba colour = {word >> 20 & 255, word >> 10 & 255, word & 255, 255};
    if (transparent >= 0 && target.format != COLOR_RGB888) colour = {};
    const bool indices = target.format == VOREL_GIF_INDICES;
    const Bytes pixel = indices ? Bytes{static_cast<uint8_t>(fill)} : pixel_of(colour, target.format);
    const size_t filled = target.packed() ? at(shown.width) * at(shown.height) * pixel.size() : before.size();
    for (size_t i = 0; i < filled && target.format != COLOR_RGB565; ++i) before[i] = pixel[i % pixel.size()];
    if (target.turns() != 0) return before;
    const std::vector<int> shown_indices = indices_of(file, frame, shown);
    const auto store = [&](int x, int y, uint8_t *out) {
        const int index = shown_indices[at(y) * at(shown.width) + at(x)];
        if (index < 0) return;
        const uint32_t stored = index == transparent ? 0 : word_of(palette, index, target.format);
        if (indices) *out = static_cast<uint8_t>(index);
        if (stores_words(target)) std::memcpy(out, &stored, 4);
    };
    return laid_out(target, shown, before, store).pixels;
}

GifAnimationModel::GifAnimationModel(const GifFile &file, const RasterTarget &target) : file_(file), target_(target) {}

Bytes GifAnimationModel::next() {
    const GifFrame &frame = file_.frames[frame_++];
    const Bytes &palette = file_.palette_of(frame);
    if (frame.control) {
        disposal_ = frame.disposal;
        transparent_ = frame.transparent;
    }
    transparent_ = transparent_of(transparent_, palette);
    const RasterSize shown = shown_size(file_, target_);
    const uint32_t taken_away = transparent_ >= 0 ? 0xFFFFFFFF : 0x00FFFFFF;
    if (canvas_.empty()) canvas_.assign(at(shown.width) * at(shown.height), taken_away);
    if (target_.turns() != 0) return target_bytes(target_);
    const std::vector<int> indices = indices_of(file_, frame, shown);
    const auto store = [&](int x, int y, uint8_t *out) {
        const size_t pixel = at(y) * at(shown.width) + at(x);
        const int index = indices[pixel];
        const bool hole = index < 0 || index == transparent_;
        const uint32_t colour = hole ? canvas_[pixel] : word_of(palette, index, target_.format);
        if (index >= 0 && disposal_ != 3) canvas_[pixel] = disposal_ == 2 ? taken_away : colour;
        const uint32_t stored = colour == 0xFFFFFFFF ? 0 : colour;
        std::memcpy(out, &stored, 4);
    };
    return laid_out(target_, shown, target_bytes(target_), store).pixels;
}

std::optional<Bytes> GifLzwModel::translate(uint32_t code, size_t filled, size_t limit) const {
    const size_t length = table_[code].length;
    if (length < 1 || filled + length > limit) return std::nullopt;
    Bytes out(length);
    for (size_t i = length; i-- > 0; code = table_[code].prefix) {
        if (code > 4095) return std::nullopt;
        out[i] = table_[code].suffix;
    }
    return out;
}

GifLzwModel::Image GifLzwModel::decode(const Bytes &data, int min_code_size, int width, int height, int screen_width) {
    const size_t limit = at(screen_width) + 4096;
    const uint32_t clear = 1u << min_code_size, end = clear + 1;
    for (uint32_t i = 0; i < clear + 2; ++i) table_[i] = {0, 1, static_cast<uint8_t>(i)};
    // Sub-blocks without data are nothing, so the whole rest of the file is code bytes.
    Bytes bytes;
    for (size_t i = 0; i < data.size(); i += 1u + data[i])
        for (size_t k = i + 1; k <= i + data[i] && k < data.size(); ++k) bytes.push_back(data[k]);
    size_t bit = 0;
    int size = min_code_size + 1;
    const auto read = [&]() -> std::optional<uint32_t> {
        if (bit + at(size) > bytes.size() * 8) return std::nullopt;
        uint32_t code = 0;
        for (int i = 0; i < size; ++i, ++bit) code |= static_cast<uint32_t>(bytes[bit / 8] >> (bit % 8) & 1) << i;
        return code;
    };
    Image image = {1, {}};
    Bytes row;
    uint32_t next = 0, previous = 0;
    bool fresh = true;
    while (image.rows.size() < at(height)) {
        while (row.size() < at(width) || fresh) {
            const auto code = read();
            if (!code) return image;
            if (*code == end) return image;
            if (*code == clear) {
                size = min_code_size + 1;
                fresh = true;
                continue;
            }
            if (fresh) {
                if (row.size() >= limit) return {0, image.rows};
                row.push_back(static_cast<uint8_t>(*code));
                next = clear + 2;
                previous = *code;
                fresh = false;
                continue;
            }
            const bool known = *code < next;
            const auto string = translate(known ? *code : previous < next ? previous : 0, row.size(), limit);
            if (!string) return {0, image.rows};
            row.insert(row.end(), string->begin(), string->end());
            if (!known) {
                if (row.size() >= limit) return {0, image.rows};
                row.push_back(string->front());
            }
            if (next < 4096) {
                table_[next] = {previous, table_[previous].length + 1, string->front()};
                ++next;
            }
            previous = *code;
            if (size < 12 && next == 1u << size) ++size;
        }
        while (row.size() >= at(width) && image.rows.size() < at(height)) {
            image.rows.emplace_back(row.data(), row.data() + width);
            row.erase(row.begin(), row.begin() + width);
        }
    }
    return image;
}

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

void expect_gif_as_model(const Bytes &bytes, const GifFile &file, const RasterTarget &target, uint8_t fill) {
    SCOPED_TRACE(std::to_string(file.width) + " x " + std::to_string(file.height) + text_of(target));
    const RasterSize shown = shown_size(file, target);
    const RasterPicture still = {1, static_cast<uint32_t>(shown.width), static_cast<uint32_t>(shown.height), 0,
                                 model_gif_still(file, target, fill)};
    ASSERT_TRUE(decode_gif(Kind::kPath, bytes, target, fill) == still);
    if (!stores_words(target)) return;
    const auto got = decode_animation(Kind::kMemory, bytes, target);
    ASSERT_EQ(got.size(), file.frames.size());
    GifAnimationModel model(file, target);
    uint32_t delay = 0;
    for (size_t k = 0; k < got.size(); ++k) {
        // The delay is that of the next frame.
        const bool last = k + 1 == got.size();
        const GifFrame *timed = !last && file.frames[k + 1].control ? &file.frames[k + 1] : nullptr;
        if (k == 0 && !timed && file.frames[0].control) timed = &file.frames[0];
        if (timed) delay = static_cast<uint32_t>(timed->delay) * 10;
        ASSERT_EQ(got[k].result, last ? 3 : 1) << k;
        ASSERT_EQ(got[k].delay, last ? 0 : delay) << k;
        ASSERT_TRUE(got[k].pixels == model.next()) << "frame " << k;
    }
}

GifFile random_gif(std::mt19937 &random, int most_side, int colours, int frames) {
    const auto any = [&](int below) { return static_cast<int>(random() % static_cast<uint32_t>(below)); };
    GifFile file;
    file.width = 1 + any(most_side);
    file.height = 1 + any(most_side);
    file.background = any(colours);
    if (any(6) != 0) file.palette = gif_palette(random, colours);
    for (int i = 0; i < frames; ++i) {
        const bool whole = any(3) == 0, far = any(20) == 0;
        GifFrame frame = {.left = whole ? 0
                                  : far ? 10000
                                        : any(file.width + 3),
                          .top = whole ? 0 : any(file.height + 3),
                          .width = whole ? file.width : 1 + any(file.width + 3),
                          .height = whole ? file.height : 1 + any(file.height + 3),
                          .interlaced = any(2) != 0,
                          .disposal = any(8),
                          .delay = any(300),
                          .control = any(5) != 0};
        if (file.palette.empty() || any(3) == 0) frame.palette = gif_palette(random, colours);
        if (any(2) != 0) frame.transparent = any(std::min(colours + 2, 256));
        frame.indices = gif_picture(random, frame.width, frame.height, colours);
        file.frames.push_back(std::move(frame));
    }
    return file;
}

}  // namespace vorel::test
