// TIFF files that carry a JPEG stream (TIFF 6.0 section 2, Exif 2.3 4.6.5 for the stream's offset).
#include <vorel/exif.h>

#include "core/core.h"
#include "core/session.h"
#include "jpeg/tiff_reader.h"

namespace vorel {
namespace {

constexpr uint16_t kSubDirectories = 330, kJpegOffset = 513;
constexpr int32_t kDeepest = 8;
// Directories in a walk: entries without end may name the same subdirectory.
constexpr int32_t kMostDirectories = 64;

struct TiffHeader {
    uint32_t first;  // offset of the 0th directory
    bool little_endian;
};

bool read_header(StreamBuffer *stream, TiffHeader *out) {
    uint8_t bytes[8];
    if (read_bytes(stream, bytes, sizeof bytes) != sizeof bytes) return false;
    const TiffReader tiff(bytes, sizeof bytes);
    *out = {tiff.valid() ? tiff.long_word(4) : 0, tiff.little_endian()};
    return out->first != 0;
}

// Reads exactly `count` bytes at a position of the input.
bool read_at(IoInfo *io, int64_t position, uint8_t *out, int32_t count) {
    if (position > INT32_MAX - count) return false;
    const int32_t at = static_cast<int32_t>(position);
    if (VORELBRIM_Seek_IO(io, at, SEEK_SET) != at) return false;
    for (int32_t had = 0; had < count;) {
        const int32_t came = VORELBRIM_Read_IO(io, out + had, count - had);
        if (came <= 0) return false;
        had += came;
    }
    return true;
}

// A directory of the file, in memory from its first entry on, with its link behind them.
struct Directory {
    OsBlock block;
    int64_t bytes = 0;

    bool read(IoInfo *io, uint32_t offset, bool little_endian) {
        uint8_t count[2];
        if (!read_at(io, offset, count, sizeof count)) return false;
        bytes = TiffReader::kEntryBytes * (little_endian ? little_endian_16(count) : big_endian_16(count));
        block.reset(os_allocate(static_cast<size_t>(bytes + 4)));
        if (!block) {
            set_error(kErrorOutOfMemory);
            return false;
        }
        return read_at(io, int64_t{offset} + 2, block.as<uint8_t>(), static_cast<int32_t>(bytes + 4));
    }
};

// What the directories of a file say. Subdirectories come before the entries behind them.
struct TiffWalk {
    IoInfo *io;
    bool little_endian;
    ExifInfo *info;           // may be null
    uint32_t *stream_offset;  // of the JPEG stream; may be null
    int32_t directories = 0;

    uint32_t walk(uint32_t offset, int32_t depth) {
        Directory directory;
        if (++directories > kMostDirectories || !directory.read(io, offset, little_endian)) {
            VOREL_TRACE_AS(kTagJpeg, "BRIMJ_ReadTiffIFDInfo");
            return 0;
        }
        const TiffReader tiff(directory.block.as<uint8_t>(), directory.bytes + 4, little_endian);
        for (int64_t at = 0; at < directory.bytes; at += TiffReader::kEntryBytes) {
            if (!take(tiff, at, offset, depth)) return 0;
        }
        return tiff.long_word(directory.bytes);
    }

    // The first of several offsets, which stand at `at`.
    bool first_of(uint32_t at, uint32_t *out) const {
        uint8_t bytes[4];
        if (!read_at(io, at, bytes, sizeof bytes)) return false;
        *out = little_endian ? little_endian_32(bytes) : big_endian_32(bytes);
        return true;
    }

    // False for a subdirectory that is not behind its parent, which could lead round in a circle.
    bool take(const TiffReader &tiff, int64_t at, uint32_t offset, int32_t depth) {
        const uint32_t tag = tiff.word(at), type = tiff.word(at + 2), count = tiff.long_word(at + 4);
        const uint32_t value = tiff.long_word(at + 8);
        if (depth == 0 && tag == kOrientationTag && type == kShort && count == 1 && info) {
            info->orientation = tiff.word(at + 8);
            info->littleEndian = little_endian;
        }
        if (tag == kJpegOffset && type == kLong && count == 1 && value <= INT32_MAX && stream_offset)
            *stream_offset = value;
        if (tag != kSubDirectories || type != kLong || count == 0) return true;
        uint32_t sub = value;
        if (count > 1 && !first_of(value, &sub)) return false;
        if (sub <= offset || depth == kDeepest) {
            VOREL_TRACE_AS(kTagJpeg, "BRIMJ_ReadTiffIFDInfo");
            return false;
        }
        walk(sub, depth + 1);
        return true;
    }
};

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_GetTiffInfo(StreamBuffer *stream, ExifInfo *info) {
    TiffHeader header;
    Directory first;
    if (!read_header(stream, &header) || !first.read(stream->io, header.first, header.little_endian)) {
        VOREL_TRACE(kTagJpeg);
        return 0;
    }
    const TiffReader tiff(first.block.as<uint8_t>(), first.bytes + 4, header.little_endian);
    TiffWalk walk = {stream->io, header.little_endian, info, nullptr};
    for (int64_t at = 0; at < first.bytes; at += TiffReader::kEntryBytes) {
        if (tiff.word(at) == kOrientationTag) walk.take(tiff, at, header.first, 0);
    }
    return 1;
}

int32_t BRIMJ_ReadTiffInfo(DecInfo *session, StreamBuffer *stream, ExifInfo *info) {
    TiffHeader header;
    if (!read_header(stream, &header)) {
        VOREL_TRACE(kTagJpeg);
        return 0;
    }
    const uint32_t next = BRIMJ_ReadTiffIFDInfo(session, header.first, header.little_endian, info);
    if (next > header.first) BRIMJ_ReadTiffIFDInfo(session, next, header.little_endian, nullptr);
    return 1;
}

uint32_t BRIMJ_ReadTiffIFDInfo(DecInfo *session, uint32_t offset, uint32_t littleEndian, ExifInfo *info) {
    return TiffWalk{session->ioInfo, littleEndian != 0, info, &session->streamOffset}.walk(offset, 0);
}

}  // extern "C"
