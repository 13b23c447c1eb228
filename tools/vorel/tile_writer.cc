#include "tile_writer.h"

#include <vorel/jpeg_encoder.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "failure.h"
#include "writers.h"

namespace vorel_tool {
namespace {

// A multiple of an MCU's height. More rows take more memory, fewer more time: each strip of a tile is an encode.
constexpr int32_t kJpegStripRows = 64;

struct Release {
    void operator()(uint8_t *stream) const { VORELBRIM_OsFree(stream); }
};
struct Stream {
    std::unique_ptr<uint8_t, Release> bytes;
    uint32_t size = 0;
};

// Columns of a strip, without what is beside them. The picture stays with the thread: its memory is used again.
const Picture &cut(const Strip &strip, const Span &columns) {
    thread_local Picture out = {};
    out.format = find_format("rgba8888");
    set_size(&out, columns.count, strip.rows.count);
    const size_t row = static_cast<size_t>(columns.count) * kPixelBytes;
    const uint8_t *from = strip.pixels.get() + static_cast<size_t>(columns.first) * kPixelBytes;
    for (int32_t y = 0; y < strip.rows.count; ++y, from += static_cast<size_t>(strip.level.width) * kPixelBytes)
        std::memcpy(&out.bytes[static_cast<size_t>(y) * row], from, row);
    return out;
}

Picture first_channel(const Picture &picture) {
    Picture out = make_picture(*find_format("gray"), picture.width, picture.height);
    for (size_t i = 0; i < out.bytes.size(); ++i) out.bytes[i] = picture.bytes[i * kPixelBytes];
    return out;
}

// The rows of a tile from `first` on; put one behind the other, such streams are the tile's.
Stream encode_rows(const Picture &picture, int32_t first, int32_t tile_height, int quality, const std::string &path) {
    RawInfo raw = {};
    raw.width = static_cast<uint32_t>(picture.width);
    raw.height = picture.height;
    raw.pixels = const_cast<uint8_t *>(picture.bytes.data());
    raw.format = raw.formatTag = static_cast<uint32_t>(picture.format->code);
    raw.stripMode = 1;
    raw.notFirstStrip = first > 0;
    raw.notLastStrip = first + picture.height < tile_height;
    raw.fullHeight = static_cast<uint32_t>(tile_height);
    raw.stripStartRow = static_cast<uint32_t>(first);
    HuffmanSpec spec = {};
    spec.quality = static_cast<uint32_t>(quality);
    // Enough for most; it grows where it is not.
    Stream stream;
    stream.size = 2048 + raw.width * static_cast<uint32_t>(raw.height) / 4;
    stream.bytes.reset(static_cast<uint8_t *>(VORELBRIM_OsMalloc(static_cast<int32_t>(stream.size))));
    if (!stream.bytes) throw std::bad_alloc();
    uint8_t *bytes = stream.bytes.release();
    const int32_t encoded = rim_enc_jpeg_to_buffer_ex(&raw, &bytes, &stream.size, &spec);
    stream.bytes.reset(bytes);
    if (encoded != 1) throw Failure(path + ": cannot be encoded");
    return stream;
}

using File = std::unique_ptr<FILE, int (*)(FILE *)>;

// The folder gets its name when it is complete, so its files need not wait for theirs.
File create(const std::string &path) {
    File file(std::fopen(path.c_str(), "wbx"), &std::fclose);
    if (!file) throw Failure(path + ": cannot be written: " + std::strerror(errno));
    return file;
}

void close(File file, const std::string &path) {
    if (std::fclose(file.release()) != 0) throw Failure(path + ": cannot be written: " + std::strerror(errno));
}

void write_jpeg_tile(const std::vector<Stream> &parts, const std::vector<uint8_t> &profile, const std::string &path) {
    File file = create(path);
    const auto put = [&](const uint8_t *bytes, size_t count) {
        if (std::fwrite(bytes, 1, count, file.get()) != count)
            throw Failure(path + ": cannot be written: " + std::strerror(errno));
    };
    const size_t prefix = std::min<size_t>(kPrefixBytes, parts.front().size);
    put(parts.front().bytes.get(), prefix);
    put(profile.data(), profile.size());
    put(parts.front().bytes.get() + prefix, parts.front().size - prefix);
    for (size_t i = 1; i < parts.size(); ++i) put(parts[i].bytes.get(), parts[i].size);
    close(std::move(file), path);
}

void write_png_tile(const Picture &picture, const std::string &path) {
    File file = create(path);
    write_png(picture, path, file.get());
    close(std::move(file), path);
}

}  // namespace

// A row of tiles whose strips are on their way.
struct TileWriter::TileRow {
    TileRow(int32_t columns, int32_t strips) : tiles(static_cast<size_t>(columns)) {
        for (Tile &tile : tiles) {
            tile.parts.resize(static_cast<size_t>(strips));
            tile.left = strips;
        }
    }

    struct Tile {
        std::vector<Stream> parts;
        std::atomic<int32_t> left;
    };
    std::vector<Tile> tiles;
};

TileWriter::TileWriter(const TileGrid &grid, const TileFormat &format, Name name)
    : grid_(grid), format_(format), name_(std::move(name)) {}

int32_t TileWriter::strip_rows(const TileGrid &grid, const TileFormat &format) {
    const int32_t whole = grid.side + 2 * grid.overlap;
    return format.name == "jpg" && 4 * grid.overlap <= kJpegStripRows ? std::min(kJpegStripRows, whole) : whole;
}

void TileWriter::add(const Strip &strip, WorkQueue *queue) {
    const auto level = static_cast<size_t>(strip.level.number);
    if (rows_.size() <= level) rows_.resize(level + 1);
    if (strip.number == 0) rows_[level] = std::make_shared<TileRow>(strip.level.columns, strip.count);
    for (int32_t column = 0; column < strip.level.columns; ++column)
        queue->add([this, strip, column, row = rows_[level]] { make_part(strip, column, row.get()); });
}

void TileWriter::make_part(const Strip &strip, int32_t column, TileRow *row) {
    const std::string path = name_(strip.level, column, strip.tile_row);
    const Picture &picture = cut(strip, tile_span(grid_, column, strip.level.width));
    TileRow::Tile &tile = row->tiles[static_cast<size_t>(column)];
    if (format_.name == "jpg") {
        tile.parts[static_cast<size_t>(strip.number)] =
            encode_rows(format_.gray ? first_channel(picture) : picture, strip.rows.first - strip.tile_rows.first,
                        strip.tile_rows.count, format_.quality, path);
        if (--tile.left != 0) return;
        write_jpeg_tile(tile.parts, format_.profile, path);
        tile.parts.clear();
    } else {
        write_png_tile(format_.gray ? first_channel(picture) : picture, path);
    }
    ++done_;
}

}  // namespace vorel_tool
