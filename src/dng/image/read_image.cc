#include "dng/image/read_image.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include <vorel/dng_samples.h>

#include "dng/base/limits.h"
#include "dng/image/inflate_rows.h"
#include "dng/image/predictor.h"
#include "dng/image/sample_row.h"
#include "dng/image/tile_rows.h"

using vorel::DngRect;
using vorel::RowWriter;
using vorel::StoredSample;
using vorel::tile_of;

namespace {

constexpr uint32_t kFloatFormat = 3;
// How often the bytes of a file may be given to JPEG decoders. Tiles that share theirs without end would take hours:
// each decode begins with a search for the headers.
constexpr uint64_t kMostJpegReads = 4;

StoredSample stored_sample(const VorelDngIFD &ifd, bool little_endian) {
    StoredSample stored;
    stored.bits = ifd.bitsPerSample[0];
    stored.is_float = ifd.sampleFormat[0] == kFloatFormat;
    stored.other_endian = little_endian != (std::endian::native == std::endian::little);
    return stored;
}

uint64_t value_of(VorelDngStream &stream, uint32_t type, uint64_t offset, uint32_t index) {
    stream.setPosition(offset + uint64_t{index} * TagTypeSize(type));
    return stream.getTagValue_QMUINT32(type);
}

}  // namespace

bool VorelDngIFD::readImage(VorelDngStream &stream, VorelDngImage &image) {
    return VorelDngReadImage().read(*this, stream, image);
}

bool VorelDngReadImage::read(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image) {
    const DngRect whole = {0, 0, static_cast<int32_t>(ifd.height), static_cast<int32_t>(ifd.width)};
    if (!ifd.hasImage() || image.planes() != ifd.samplesPerPixel || image.getPixelType() != ifd.pixelType())
        return false;
    const DngRect wanted = intersection(image.getBounds(), whole);
    // Sizes beyond what the image needs would only be asked for by who wants work done for nothing.
    constexpr uint32_t kSlack = 1024;
    if (wanted.empty() || ifd.tileWidth == 0 || ifd.tileLength == 0 ||
        ifd.tileWidth > (ifd.width + kSlack - 1) / kSlack * kSlack ||
        ifd.tileLength > (ifd.height + kSlack - 1) / kSlack * kSlack) {
        return true;
    }
    jpegBytesLeft_ = kMostJpegReads * stream.length();
    const bool separate = ifd.planarConfiguration == 2;
    const uint32_t planes = separate ? 1 : ifd.samplesPerPixel;
    const uint64_t across = ifd.tilesAcross, tiles = across * ifd.tilesDown;
    const uint32_t first_row = static_cast<uint32_t>(wanted.top) / ifd.tileLength;
    const uint32_t last_row = static_cast<uint32_t>(wanted.bottom - 1) / ifd.tileLength;
    const uint32_t first_column = static_cast<uint32_t>(wanted.left) / ifd.tileWidth;
    const uint32_t last_column = static_cast<uint32_t>(wanted.right - 1) / ifd.tileWidth;
    for (uint32_t plane = 0; plane < ifd.samplesPerPixel; plane += planes) {
        for (uint32_t row = first_row; row <= last_row; ++row) {
            for (uint32_t column = first_column; column <= last_column; ++column) {
                const uint64_t index = plane / planes * tiles + row * across + column;
                // The arrays are in the file, so that this bounds the loops by its length.
                if (index >= ifd.offsetsCount) return true;
                const uint32_t at = static_cast<uint32_t>(index);
                const int32_t top = static_cast<int32_t>(row * ifd.tileLength);
                const int32_t left = static_cast<int32_t>(column * ifd.tileWidth);
                const DngRect tile = {top, left, top + static_cast<int32_t>(ifd.tileLength),
                                      left + static_cast<int32_t>(ifd.tileWidth)};
                const uint64_t offset = value_of(stream, ifd.offsetsType, ifd.offsetsOffset, at);
                const uint32_t bytes =
                    at < ifd.byteCountsCount
                        ? static_cast<uint32_t>(value_of(stream, ifd.byteCountsType, ifd.byteCountsOffset, at))
                        : 0;
                readTile(ifd, stream, image, intersection(tile, wanted), plane, planes, offset, bytes);
            }
        }
    }
    return true;
}

bool VorelDngReadImage::reads(const VorelDngIFD &ifd) const {
    switch (ifd.compression) {
        case vorel::kUncompressed:
        case vorel::kDeflate:
            return true;
        case vorel::kLossyJpeg:
            return ifd.isBaselineJPEG();
        case vorel::kJpeg:
            return ifd.isBaselineJPEG() || lossless_;
        default:
            return false;
    }
}

bool VorelDngReadImage::fillsAll(const VorelDngIFD &ifd, VorelDngStream &stream) const {
    const StoredSample stored = stored_sample(ifd, true);
    if (ifd.compression != vorel::kUncompressed || !stored.known() || ifd.tileWidth == 0 || ifd.tileLength == 0)
        return false;
    const bool separate = ifd.planarConfiguration == 2;
    const uint32_t planes = separate ? 1 : ifd.samplesPerPixel;
    const uint64_t each = uint64_t{ifd.tilesAcross} * ifd.tilesDown,
                   tiles = each * (separate ? ifd.samplesPerPixel : 1);
    if (tiles > ifd.offsetsCount) return false;
    const uint64_t row_bytes = stored.row_bytes(uint64_t{ifd.tileWidth} * planes);
    for (uint32_t tile = 0; tile < tiles; ++tile) {
        const uint32_t top = static_cast<uint32_t>(tile % each / ifd.tilesAcross) * ifd.tileLength;
        const uint64_t rows = std::min(ifd.tileLength, ifd.height - top);
        if (!stream.holds(value_of(stream, ifd.offsetsType, ifd.offsetsOffset, tile), rows * row_bytes)) return false;
    }
    return true;
}

bool VorelDngReadImage::readTile(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image, const DngRect &area,
                                 uint32_t plane, uint32_t planes, uint64_t tileOffset, uint32_t tileByteCount) {
    if (tileOffset >= stream.length() || area.empty()) return false;
    const uint64_t left = stream.length() - tileOffset;
    if (tileByteCount > left) tileByteCount = static_cast<uint32_t>(left);
    switch (ifd.compression) {
        case vorel::kUncompressed:
            return readUncompressed(ifd, stream, image, area, plane, planes, tileOffset);
        case vorel::kDeflate:
            return readDeflated(ifd, stream, image, area, plane, planes, tileOffset, tileByteCount);
        case vorel::kJpeg:
        case vorel::kLossyJpeg:
            return readJPEG(ifd, stream, image, area, plane, planes, tileOffset, tileByteCount);
        default:
            return false;
    }
}

// Byte counts are not looked at: the rows say how much there is.
bool VorelDngReadImage::readUncompressed(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image,
                                         const DngRect &area, uint32_t plane, uint32_t planes, uint64_t tileOffset) {
    const StoredSample stored = stored_sample(ifd, stream.isLittleEndian());
    if (!stored.known()) return false;
    const DngRect tile = tile_of(ifd, area);
    const uint64_t row_bytes = stored.row_bytes(uint64_t{ifd.tileWidth} * planes);
    // Reading begins with a sample that begins with a byte.
    const uint64_t skip = static_cast<uint64_t>(area.left - tile.left) * planes;
    const uint64_t lead = skip % StoredSample::kGroup, begin = (skip - lead) / StoredSample::kGroup * stored.bits;
    const uint64_t count = uint64_t{area.width()} * planes;
    const uint8_t *end = stream.data() + stream.length();
    const RowWriter rows(image, area, plane, planes);
    const uint32_t pixel_size = image.buffer().pixelSize;
    const bool in_place = lead == 0 && rows.direct();
    if (!in_place) scratch_.resize((lead + count) * sizeof(uint32_t));
    for (int32_t row = area.top; row < area.bottom; ++row) {
        const uint64_t at = tileOffset + static_cast<uint64_t>(row - tile.top) * row_bytes + begin;
        // Of the row that the file ends in, the whole samples.
        uint64_t there = lead + count;
        if (!stream.holds(at, stored.row_bytes(there))) {
            const uint64_t bytes = at < stream.length() ? stream.length() - at : 0;
            there = bytes * 8 / stored.bits;
            if (there <= lead) return false;
        }
        void *out = in_place ? rows.place(row) : scratch_.data();
        if (!in_place) std::memset(scratch_.data(), 0, scratch_.size());
        vorel::read_sample_row(stored, stream.data() + at, end, there, out);
        if (!in_place) rows.put(row, scratch_.data() + lead * pixel_size);
    }
    return true;
}

bool VorelDngReadImage::decodePredictor(VorelDngIFD &ifd, VorelDngPixelBuffer &buffer) {
    if (ifd.predictor == vorel::kPredictorNone || ifd.predictor == 0) return true;
    const uint64_t distance = uint64_t{vorel::predictor_factor(ifd.predictor)} * buffer.planes;
    const uint64_t count = uint64_t{buffer.area.width()} * buffer.planes;
    if (distance == 0) return false;
    for (int32_t row = buffer.area.top; row < buffer.area.bottom; ++row) {
        uint8_t *start = static_cast<uint8_t *>(buffer.data) +
                         static_cast<ptrdiff_t>(row - buffer.area.top) * buffer.rowStep * buffer.pixelSize;
        if (vorel::is_float_predictor(ifd.predictor)) {
            scratch_.resize(count * buffer.pixelSize);
            vorel::regroup_floats(start, scratch_.data(), buffer.pixelSize, count, distance);
        } else {
            vorel::add_left(start, buffer.pixelSize, count, distance);
        }
    }
    return true;
}

void VorelDngReadImage::doByteSwapBuffer(VorelDngPixelBuffer &buffer) {
    for (int32_t row = buffer.area.top; row < buffer.area.bottom; ++row) {
        uint8_t *start = static_cast<uint8_t *>(buffer.data) +
                         static_cast<ptrdiff_t>(row - buffer.area.top) * buffer.rowStep * buffer.pixelSize;
        const uint32_t count = buffer.area.width() * buffer.planes;
        if (buffer.pixelSize == 2) doSwapBytes16(reinterpret_cast<uint16_t *>(start), count);
        if (buffer.pixelSize == 4) doSwapBytes32(reinterpret_cast<uint32_t *>(start), count);
    }
}

bool VorelDngReadImage::needsCompressedBuffer(const VorelDngIFD &ifd) const {
    return ifd.compression == vorel::kJpeg || ifd.compression == vorel::kLossyJpeg;
}

// Row by row: whatever a stream says that it holds, one row of it is in memory. Rows behind damage stay 0.
bool VorelDngReadImage::readDeflated(VorelDngIFD &ifd, VorelDngStream &stream, VorelDngImage &image,
                                     const DngRect &area, uint32_t plane, uint32_t planes, uint64_t tileOffset,
                                     uint32_t tileByteCount) {
    StoredSample stored = stored_sample(ifd, stream.isLittleEndian());
    if (!stored.known()) return false;
    const DngRect tile = tile_of(ifd, area);
    const uint64_t tile_count = uint64_t{ifd.tileWidth} * planes;
    const uint64_t row_bytes = stored.row_bytes(tile_count);
    const bool floats = vorel::is_float_predictor(ifd.predictor), differences = vorel::is_horizontal(ifd.predictor);
    const uint32_t sample_bytes = stored.bits / 8;
    const bool whole_samples = stored.bits % 8 == 0;
    // Differences are those of whole samples, of floats 2 to 4 bytes and of integers 1, 2 or 4.
    if (floats && !(stored.is_float && whole_samples)) return false;
    if (differences && !(whole_samples && sample_bytes != 3)) return false;
    row_.resize(row_bytes);

    VorelDngPixelBuffer buffer;
    buffer.area = {0, 0, 1, static_cast<int32_t>(ifd.tileWidth)};
    buffer.planes = planes, buffer.colStep = static_cast<int32_t>(planes), buffer.planeStep = 1;
    buffer.rowStep = static_cast<int32_t>(tile_count);
    buffer.pixelSize = sample_bytes, buffer.data = row_.data();

    const RowWriter rows(image, area, plane, planes);
    const uint64_t skip = static_cast<uint64_t>(area.left - tile.left) * planes;
    samples_.resize(tile_count * sizeof(uint32_t) / sizeof(uint16_t));
    vorel::InflateRows inflate(stream.data() + tileOffset, tileByteCount);
    for (int32_t row = tile.top; row < area.bottom; ++row) {
        if (!inflate.next(row_.data(), row_bytes)) return false;
        if (row < area.top) continue;
        StoredSample now = stored;
        if (floats) {
            // The planes of bytes have one order in files of either.
            decodePredictor(ifd, buffer);
            now.other_endian = std::endian::native == std::endian::little;
        } else if (differences) {
            if (stored.other_endian) doByteSwapBuffer(buffer);
            decodePredictor(ifd, buffer);
            now.other_endian = false;
        }
        vorel::read_sample_row(now, row_.data(), row_.data() + row_.size(), tile_count, samples_.data());
        rows.put(row, reinterpret_cast<const uint8_t *>(samples_.data()) + skip * image.buffer().pixelSize);
    }
    return true;
}
