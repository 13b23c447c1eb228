// Tiles in JPEG: lossy ones through the decoder's entries, lossless ones row by row.
#include <algorithm>
#include <cstring>
#include <new>

#include <vorel/frame.h>
#include <vorel/jpeg_decoder.h>

#include "core/core.h"
#include "dng/image/read_image.h"
#include "dng/image/tile_rows.h"

using vorel::DngRect;
using vorel::RowWriter;
using vorel::tile_of;

bool VorelDngReadImage::readJPEG(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image, const DngRect &area,
                                 uint32_t plane, uint32_t planes, uint64_t tileOffset, uint32_t tileByteCount) {
    if (tileByteCount > jpegBytesLeft_) return false;
    jpegBytesLeft_ -= tileByteCount;
    // The entries say no more than that they failed: a tile that there was no memory for is not a damaged one.
    const uint32_t failed = vorel::failed_allocations();
    const bool read = readJPEGTile(ifd, stream, image, area, plane, planes, tileOffset, tileByteCount);
    if (!read && vorel::failed_allocations() != failed) throw std::bad_alloc();
    return read;
}

bool VorelDngReadImage::readJPEGTile(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image,
                                     const DngRect &area, uint32_t plane, uint32_t planes, uint64_t tileOffset,
                                     uint32_t tileByteCount) {
    if (!ifd.isBaselineJPEG()) {
        return lossless_ && ifd.compression == vorel::kJpeg &&
               readLosslessJPEG(ifd, stream, image, area, plane, planes, tileOffset, tileByteCount);
    }
    if (image.getPixelType() != kPixelByte) return false;
    // The decoder's entries take memory for a path before they look into it: a NUL ends it.
    compressed_.assign(stream.data() + tileOffset, stream.data() + tileOffset + tileByteCount);
    compressed_.push_back(0);
    return decodeLossyJPEG(image, area, plane, planes, compressed_.data(), tileByteCount, tile_of(ifd, area)) ||
           (lossless_ && ifd.compression == vorel::kJpeg &&
            readLosslessJPEG(ifd, stream, image, area, plane, planes, tileOffset, tileByteCount));
}

// Of a picture with fewer components than the image has planes R, G and B are equal; alpha is not stored.
bool VorelDngReadImage::decodeLossyJPEG(VorelDngImage &image, const DngRect &area, uint32_t plane, uint32_t planes,
                                        const uint8_t *data, uint32_t length, const DngRect &tile) {
    constexpr int32_t kRgba = 7, kRgbaBytes = 4;
    constexpr uint32_t kColours = 3;
    // Writers fill tiles up to whole blocks.
    constexpr int64_t kSlack = 64;
    int32_t width = 0, height = 0;
    if (!VjpgGetImageInfoFromBuffer(data, 0, static_cast<int32_t>(length), &width, &height)) return false;
    if (width <= 0 || height <= 0 || width > tile.width() + kSlack || height > tile.height() + kSlack) return false;
    const size_t bytes = static_cast<size_t>(width) * static_cast<size_t>(height) * kRgbaBytes;
    if (row_.size() < bytes) row_.resize(bytes);
    std::memset(row_.data(), 0, bytes);
    if (!VjpgDecodeBufferOpt(data, row_.data(), static_cast<int32_t>(length), kRgba, 1, nullptr)) return false;
    const int32_t bottom = std::min(area.bottom, tile.top + height), right = std::min(area.right, tile.left + width);
    for (int32_t row = area.top; row < bottom; ++row) {
        const uint8_t *pixel = row_.data() + (static_cast<size_t>(row - tile.top) * static_cast<size_t>(width) +
                                              static_cast<size_t>(area.left - tile.left)) *
                                                 kRgbaBytes;
        for (int32_t column = area.left; column < right; ++column, pixel += kRgbaBytes) {
            for (uint32_t i = 0; i < planes && plane + i < kColours; ++i) {
                *image.at<uint8_t>(row, column, plane + i) = pixel[planes == 1 ? 0 : i];
            }
        }
    }
    return true;
}

namespace {

// Rows of a lossless frame on their way into a tile. A frame's rows need not be the tile's: writers split a row into
// two components, or join two rows; the samples are the same, one after the other.
struct LosslessTile {
    const RowWriter &rows;
    DngRect area;
    int32_t top;                 // of the tile
    uint64_t row_samples, skip;  // of the tile's rows, and of those in front of the area
    uint64_t frame_row_samples;
    bool bytes;                  // the image's samples
    std::vector<uint16_t> &row;  // gathered
    uint64_t gathered = 0;
    int64_t next = 0;  // row of the tile

    bool put_row(const uint16_t *samples) {
        const int64_t at = top + next++;
        if (at < area.top) return false;
        if (at >= area.bottom) return true;
        samples += skip;
        if (!bytes) {
            rows.put(static_cast<int32_t>(at), samples);
            return at + 1 == area.bottom;
        }
        narrow.resize(row_samples);
        for (uint64_t i = 0; i + skip < row_samples; ++i)
            narrow[i] = static_cast<uint8_t>(std::min<uint32_t>(samples[i], 255));
        rows.put(static_cast<int32_t>(at), narrow.data());
        return at + 1 == area.bottom;
    }
    std::vector<uint8_t> narrow = {};

    static int32_t receive(void *user, int32_t, const uint16_t *samples) {
        LosslessTile &tile = *static_cast<LosslessTile *>(user);
        if (tile.frame_row_samples == tile.row_samples) return tile.put_row(samples);
        for (uint64_t left = tile.frame_row_samples; left != 0;) {
            const uint64_t some = std::min(left, tile.row_samples - tile.gathered);
            std::copy(samples, samples + some, tile.row.begin() + static_cast<ptrdiff_t>(tile.gathered));
            samples += some, left -= some, tile.gathered += some;
            if (tile.gathered < tile.row_samples) break;
            tile.gathered = 0;
            if (tile.put_row(tile.row.data())) return 1;
        }
        return 0;
    }
};

}  // namespace

bool VorelDngReadImage::readLosslessJPEG(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image,
                                         const DngRect &area, uint32_t plane, uint32_t planes, uint64_t tileOffset,
                                         uint32_t tileByteCount) {
    const uint8_t *data = stream.data() + tileOffset;
    const int32_t length = static_cast<int32_t>(std::min<uint32_t>(tileByteCount, INT32_MAX));
    VorelLosslessFrame frame;
    if (image.getPixelType() != kPixelShort && image.getPixelType() != kPixelByte) return false;
    if (!vorel_jpeg_lossless_frame(data, length, &frame)) return false;
    const DngRect tile = tile_of(ifd, area);
    const RowWriter rows(image, area, plane, planes);
    LosslessTile target = {rows,
                           area,
                           tile.top,
                           uint64_t{ifd.tileWidth} * planes,
                           static_cast<uint64_t>(area.left - tile.left) * planes,
                           static_cast<uint64_t>(frame.width) * static_cast<uint64_t>(frame.components),
                           image.getPixelType() == kPixelByte,
                           samples_};
    // Frames of a height of the tile's may be wider than it; no others belong to it.
    const uint64_t frame_samples = target.frame_row_samples * static_cast<uint64_t>(frame.height);
    const uint64_t tile_samples = target.row_samples * ifd.tileLength;
    if (target.frame_row_samples != target.row_samples && frame_samples % target.row_samples != 0) return false;
    if (frame_samples > tile_samples && target.frame_row_samples != target.row_samples) return false;
    samples_.resize(target.row_samples);
    return vorel_jpeg_decode_lossless(data, length, LosslessTile::receive, &target) > 0;
}
