#include "raster/gif_model.h"

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

// What a graphic control leaves for a frame with so many colours.
int transparent_of(int index, const Bytes &palette) { return at(index) > palette.size() / 3 ? -1 : index; }

// Source column by output column, by the walk over the source: each of its columns moves an accumulator on by the
// output's width and fills all output columns whose target it passes.
std::vector<int> walk_columns(int source, int out) {
    std::vector<int> columns;
    int64_t target = source >> 1, passed = 0;
    for (int c = 0; c < source; ++c) {
        passed += out;
        for (; target < passed && columns.size() < at(out); target += source) columns.push_back(c);
    }
    return columns;
}

// Source row by output row, -1 for the later ones of those that share a row.
std::vector<int> pick_rows(int source, int out) {
    std::vector<int> rows;
    int last = -1;
    for (int j = 0; j < out; ++j) {
        const int row = static_cast<int>(((source >> 1) + int64_t{j} * source) / out);
        rows.push_back(row == last ? -1 : row);
        last = row;
    }
    return rows;
}

// For every output pixel of the shown picture: the frame's index there, -1 where it has none.
std::vector<int> indices_of(const GifFile &file, const GifFrame &frame, RasterSize shown) {
    const auto columns = walk_columns(file.width, shown.width), rows = pick_rows(file.height, shown.height);
    std::vector<int> out;
    for (int y = 0; y < shown.height; ++y)
        for (int x = 0; x < shown.width; ++x) {
            const int column = columns[at(x)] - frame.left, row = rows[at(y)] < 0 ? -1 : rows[at(y)] - frame.top;
            const bool inside = row >= 0 && row < frame.height && column >= 0 && column < frame.width;
            out.push_back(inside ? frame.indices[at(row) * at(frame.width) + at(column)] : -1);
        }
    return out;
}

// Of a frame on a target: the size that is shown, and the part of the buffer that is used.
struct Layout {
    RasterSize shown, buffer;

    Layout(const GifFile &file, const RasterTarget &target)
        : shown(fitted({file.width, file.height}, target.width, target.height, target.stretched())),
          buffer(target.packed() ? shown : RasterSize{target.width, target.height}) {}
};

// The byte offset of a shown pixel.
size_t offset_of(const Layout &at_target, int format, int x, int y) {
    const auto &[shown, buffer] = at_target;
    const int left = (buffer.width - shown.width) / 2, top = (buffer.height - shown.height) / 2;
    return (at(top + y) * at(buffer.width) + at(left + x)) * at(raster_pixel_bytes(format));
}

}  // namespace

Bytes model_gif_still(const GifFile &file, const RasterTarget &target, uint8_t untouched) {
    Bytes before = target_bytes(target, untouched);
    const GifFrame &frame = file.frames.front();
    const Bytes &palette = file.palette_of(frame);
    const int transparent = transparent_of(frame.control ? frame.transparent : -1, palette);
    const Layout layout(file, target);
    const auto &[shown, buffer] = layout;
    // The background.
    const int fill = transparent >= 0 ? transparent : file.background;
    const uint32_t word = word_of(palette, fill, target.format);
    const uint8_t parts[3] = {static_cast<uint8_t>(word >> 20 & 255), static_cast<uint8_t>(word >> 10 & 255),
                              static_cast<uint8_t>(word & 255)};
    for (size_t pixel = 0; pixel < at(buffer.width) * at(buffer.height); ++pixel) {
        uint8_t *out = before.data() + pixel * at(raster_pixel_bytes(target.format));
        if (target.format == 13) {
            *out = static_cast<uint8_t>(fill);
        } else if (target.format == 1) {
            std::memcpy(out, parts, 3);
        } else if (target.format == 7 || target.format == 8) {
            const bool swapped = target.format == 8;
            const uint8_t opaque[4] = {parts[swapped ? 2 : 0], parts[1], parts[swapped ? 0 : 2], 255};
            for (int i = 0; i < 4; ++i) out[i] = transparent >= 0 ? 0 : opaque[i];
        }
    }
    if (shown.width == 0 || shown.height == 0) return before;
    const std::vector<int> indices = indices_of(file, frame, shown);
    for (int y = 0; y < shown.height; ++y)
        for (int x = 0; x < shown.width; ++x) {
            const int index = indices[at(y) * at(shown.width) + at(x)];
            if (index < 0) continue;
            uint8_t *out = before.data() + offset_of(layout, target.format, x, y);
            const uint32_t colour = index == transparent ? 0 : word_of(palette, index, target.format);
            if (target.format == 13) *out = static_cast<uint8_t>(index);
            if (target.format == 7 || target.format == 8) std::memcpy(out, &colour, 4);
        }
    return before;
}

GifAnimationModel::GifAnimationModel(const GifFile &file, const RasterTarget &target) : file_(file), target_(target) {}

Bytes GifAnimationModel::next() {
    Bytes before = target_bytes(target_);
    const GifFrame &frame = file_.frames[frame_++];
    const Bytes &palette = file_.palette_of(frame);
    if (frame.control) {
        disposal_ = frame.disposal;
        transparent_ = frame.transparent;
    }
    transparent_ = transparent_of(transparent_, palette);
    const Layout layout(file_, target_);
    const RasterSize shown = layout.shown;
    const size_t pixels = at(shown.width) * at(shown.height);
    if (canvas_.empty()) canvas_.assign(pixels, transparent_ >= 0 ? 0xFFFFFFFF : 0x00FFFFFF);
    if (pixels == 0) return before;
    const std::vector<int> indices = indices_of(file_, frame, shown);
    for (int y = 0; y < shown.height; ++y)
        for (int x = 0; x < shown.width; ++x) {
            const size_t pixel = at(y) * at(shown.width) + at(x);
            const int index = indices[pixel];
            const bool hole = index < 0 || index == transparent_;
            const uint32_t colour = hole ? canvas_[pixel] : word_of(palette, index, target_.format);
            if (index >= 0) {
                if (disposal_ == 2)
                    canvas_[pixel] = transparent_ >= 0 ? 0xFFFFFFFF : 0x00FFFFFF;
                else if (disposal_ != 3)
                    canvas_[pixel] = colour;
            }
            const uint32_t stored = colour == 0xFFFFFFFF ? 0 : colour;
            std::memcpy(before.data() + offset_of(layout, target_.format, x, y), &stored, 4);
        }
    return before;
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
    Bytes line;
    uint32_t next = 0, previous = 0;
    bool fresh = true;
    while (image.rows.size() < at(height)) {
        while (line.size() < at(width) || fresh) {
            const auto code = read();
            if (!code) return image;
            if (fresh) {
                if (*code == clear) continue;
                if (*code == end) return image;
                if (line.size() >= limit) return {0, image.rows};
                line.push_back(static_cast<uint8_t>(*code));
                next = clear + 2;
                previous = *code;
                fresh = false;
                continue;
            }
            if (*code == clear) {
                size = min_code_size + 1;
                fresh = true;
                continue;
            }
            if (*code == end) return image;
            const bool known = *code < next;
            const auto string = translate(known ? *code : previous < next ? previous : 0, line.size(), limit);
            if (!string) return {0, image.rows};
            line.insert(line.end(), string->begin(), string->end());
            if (!known) {
                if (line.size() >= limit) return {0, image.rows};
                line.push_back(string->front());
            }
            if (next < 4096) {
                table_[next] = {previous, table_[previous].length + 1, string->front()};
                ++next;
            }
            previous = *code;
            if (size < 12 && next == 1u << size) ++size;
        }
        while (line.size() >= at(width) && image.rows.size() < at(height)) {
            image.rows.emplace_back(line.data(), line.data() + width);
            line.erase(line.begin(), line.begin() + width);
        }
    }
    return image;
}

}  // namespace vorel::test
