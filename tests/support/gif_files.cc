#include "support/gif_files.h"

#include <algorithm>
#include <map>

namespace vorel::test {
namespace {

class BitWriter {
  public:
    void put(uint32_t code, int size) {
        bits_ |= uint64_t{code} << count_;
        for (count_ += size; count_ >= 8; count_ -= 8, bits_ >>= 8) bytes_.push_back(static_cast<uint8_t>(bits_));
    }
    Bytes take() {
        if (count_ > 0) bytes_.push_back(static_cast<uint8_t>(bits_));
        return bytes_;
    }

  private:
    uint64_t bits_ = 0;
    int count_ = 0;
    Bytes bytes_;
};

uint8_t table_flags(const Bytes &palette) {
    int bits = 0;
    while ((size_t{6} << bits) < palette.size()) ++bits;
    return palette.empty() ? uint8_t{0} : static_cast<uint8_t>(0x80 | bits);
}

uint32_t u32(int value) { return static_cast<uint32_t>(value); }

}  // namespace

Bytes gif_sub_blocks(const Bytes &data, size_t most) {
    Bytes out;
    for (size_t at = 0; at < data.size(); at += most) {
        const size_t count = std::min(most, data.size() - at);
        out.push_back(static_cast<uint8_t>(count));
        out.insert(out.end(), data.data() + at, data.data() + at + count);
    }
    out.push_back(0);
    return out;
}

Bytes gif_codes(const Bytes &indices, const GifEncoding &encoding) {
    const uint32_t clear = 1u << encoding.min_code_size;
    BitWriter bits;
    std::map<std::pair<uint32_t, uint8_t>, uint32_t> strings;
    int size = encoding.min_code_size + 1;
    uint32_t next = clear + 2;
    bits.put(clear, size);
    uint32_t prefix = indices[0];
    for (size_t i = 1; i < indices.size(); ++i) {
        const auto found = strings.find({prefix, indices[i]});
        if (found != strings.end()) {
            prefix = found->second;
            continue;
        }
        bits.put(prefix, size);
        if (next < 4096) {
            strings[{prefix, indices[i]}] = next;
            // The decoder is one string behind.
            if (next++ == 1u << size) ++size;
        } else if (!encoding.late_clear) {
            bits.put(clear, size);
            strings.clear();
            size = encoding.min_code_size + 1;
            next = clear + 2;
        }
        prefix = indices[i];
    }
    bits.put(prefix, size);
    if (next < 4096 && next == 1u << size) ++size;
    bits.put(clear + 1, size);
    Bytes out = gif_sub_blocks(bits.take(), encoding.sub_block);
    if (!encoding.terminated) out.pop_back();
    return out;
}

Bytes gif_palette(std::mt19937 &random, int colours) {
    Bytes palette(static_cast<size_t>(colours) * 3);
    for (uint8_t &byte : palette) byte = static_cast<uint8_t>(random());
    return palette;
}

Bytes gif_frame_head(const GifFrame &frame, int min_code_size) {
    const auto flags = static_cast<uint8_t>(table_flags(frame.palette) | (frame.interlaced ? 0x40 : 0));
    return cat({{0x2C},
                little_16(u32(frame.left)),
                little_16(u32(frame.top)),
                little_16(u32(frame.width)),
                little_16(u32(frame.height)),
                {flags},
                frame.palette,
                {static_cast<uint8_t>(min_code_size)}});
}

Bytes gif_file(const GifFile &file, const GifEncoding &encoding) {
    Bytes out = cat({text("GIF89a"),
                     little_16(u32(file.width)),
                     little_16(u32(file.height)),
                     {table_flags(file.palette), static_cast<uint8_t>(file.background), 0},
                     file.palette});
    for (const GifFrame &frame : file.frames) {
        if (frame.control) {
            const auto flags = static_cast<uint8_t>(frame.disposal << 2 | (frame.transparent >= 0 ? 1 : 0));
            out = cat({out,
                       {0x21, 0xF9, 4, flags},
                       little_16(u32(frame.delay)),
                       {static_cast<uint8_t>(std::max(frame.transparent, 0)), 0}});
        }
        Bytes order = frame.indices;
        if (frame.interlaced) {
            order.clear();
            const auto width = static_cast<size_t>(frame.width);
            for (const auto &[start, step] : {std::pair(0, 8), {4, 8}, {2, 4}, {1, 2}})
                for (int y = start; y < frame.height; y += step) {
                    const uint8_t *row = frame.indices.data() + static_cast<size_t>(y) * width;
                    order.insert(order.end(), row, row + width);
                }
        }
        out = cat({out, gif_frame_head(frame, encoding.min_code_size), gif_codes(order, encoding)});
    }
    out.push_back(0x3B);
    return out;
}

Bytes gif_picture(std::mt19937 &random, int width, int height, int colours) {
    Bytes out(static_cast<size_t>(width) * static_cast<size_t>(height));
    const auto any = [&](int below) { return static_cast<int>(random() % static_cast<uint32_t>(below)); };
    const int run = 1 + any(40);
    uint8_t colour = 0;
    int left = 0;
    for (uint8_t &index : out) {
        if (left-- == 0) {
            colour = static_cast<uint8_t>(any(colours));
            left = any(run);
        }
        index = colour;
    }
    return out;
}

}  // namespace vorel::test
