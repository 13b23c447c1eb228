// The Exif segment of a picture, and the record that it gives (Exif 2.3, 4.5.4 and 4.7.2).
#include <vorel/exif.h>

#include <cstring>

#include "core/core.h"
#include "jpeg/decoder/orientation.h"
#include "jpeg/jpeg.h"

namespace vorel {
namespace {

constexpr const char *kSearch = "BRIMJ_GetExifInfo";
constexpr int32_t kPrefixBytes = 6;
constexpr char kPrefix[kPrefixBytes + 1] = "Exif\0";

// Passes over everything up to an FF and takes it. False at the end of the input.
bool pass_to_ff(StreamBuffer *stream) {
    while (ensure_bytes(stream, 1)) {
        const size_t count = static_cast<size_t>(stream->available);
        const void *found = std::memchr(unread(stream), 0xFF, count);
        if (found) {
            consume(stream, static_cast<int32_t>(static_cast<const uint8_t *>(found) - unread(stream)) + 1);
            return true;
        }
        consume(stream, stream->available);
    }
    return false;
}

// Required: markers that have no segment for this walk, SOF1 among them, are passed over like data.
bool has_segment(int32_t marker) {
    return marker == kSof0 || marker == kSof2 || marker == kDht || marker == kSos || marker == kDqt || marker == kDnl ||
           marker == kDri || marker == kCom || is_app(marker);
}

// Streams and FILEs may come without their size.
int64_t bytes_left(const StreamBuffer *stream) {
    const IoInfo *io = stream->io;
    return int64_t{!is_memory(io) && io->size <= 0 ? INT32_MAX : io->size} - stream_position(stream);
}

// Required: a line for an input that ends, or that is cut off inside a segment.
bool ended(int line) {
    VOREL_LOG(kTagJpeg, "[%s:%d]", kSearch, line);
    return false;
}

// The TIFF structure of an Exif segment, and where it stands in the input.
struct ExifBlock {
    const uint8_t *data;
    int32_t size;
    uint32_t position;
    OsBlock copy;  // holds the data where the input is no memory

    // The data are ahead of the cursor.
    bool take(StreamBuffer *stream, int32_t bytes) {
        position = static_cast<uint32_t>(stream_position(stream));
        size = bytes;
        if (is_memory(stream->io)) {
            data = unread(stream);
            return true;
        }
        copy.reset(os_allocate(static_cast<size_t>(size) + 1));
        data = copy.as<uint8_t>();
        if (!data) set_error(kErrorOutOfMemory);
        return data && read_bytes(stream, copy.as<uint8_t>(), size) == size;
    }
};

enum class Found { kExif, kOther, kFailed };

Found look_at_app1(StreamBuffer *stream, int32_t length, ExifBlock *out) {
    const int32_t size = length - 2;
    if (size < kPrefixBytes || size >= bytes_left(stream) || !ensure_bytes(stream, kPrefixBytes)) {
        VOREL_LOG(kTagJpeg, "[%s:%d, length : %d]", kSearch, __LINE__, length);
        return Found::kFailed;
    }
    if (std::memcmp(unread(stream), kPrefix, kPrefixBytes) != 0) {
        return skip_bytes(stream, size) ? Found::kOther : Found::kFailed;
    }
    consume(stream, kPrefixBytes);
    return out->take(stream, size - kPrefixBytes) ? Found::kExif : Found::kFailed;
}

// Walks the markers from SOI on. Data between segments, those of a scan too, are searched for the next marker.
bool find_exif(StreamBuffer *stream, ExifBlock *out) {
    if (!ensure_bytes(stream, 2)) {
        VOREL_TRACE_AS(kTagJpeg, kSearch);
        return false;
    }
    const uint8_t *start = unread(stream);
    if (start[0] != 0xFF || start[1] != kSoi) {
        VOREL_LOG(kTagJpeg, "[%s:%d, [0] : %d, [1] : %d]", kSearch, __LINE__, start[0], start[1]);
        return false;
    }
    consume(stream, 2);
    while (pass_to_ff(stream)) {
        int32_t marker = read_byte(stream);
        while (marker == 0xFF) marker = read_byte(stream);
        if (marker < 0) return ended(__LINE__);
        if (!has_segment(marker)) continue;
        if (!ensure_bytes(stream, 2)) return ended(__LINE__);
        const int32_t length = big_endian_16(unread(stream));
        if (length < 2) {
            VOREL_LOG(kTagJpeg, "[%s:%d, length : %d]", kSearch, __LINE__, length);
            return false;
        }
        consume(stream, 2);
        if (marker == kApp1) {
            const Found found = look_at_app1(stream, length, out);
            if (found != Found::kOther) return found == Found::kExif;
        } else if (!skip_bytes(stream, length - 2)) {
            return ended(__LINE__);
        }
    }
    return ended(__LINE__);
}

}  // namespace

int32_t exif_orientation(DecInfo *session) {
    // The search would use up an input that is read only once.
    if (session->ioInfo->kind == kIoStream && !session->ioInfo->rewindFn) return 1;
    ExifInfo *info = BRIMJ_CreatExifInfo(session);
    const int32_t orientation = info && info->orientation ? static_cast<int32_t>(info->orientation) : 1;
    if (info) BRIMJ_DestroyExifInfo(info);
    return orientation;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_GetExifInfo(StreamBuffer *stream, ExifInfo *info) {
    ExifBlock found;
    if (!find_exif(stream, &found)) return 0;
    return BRIMJ_ReadExifInfo(found.data, found.position, static_cast<uint32_t>(found.size), info);
}

uint8_t *vorel_exif_block(DecInfo *session, uint32_t *length) {
    StreamCursor cursor(session->ioInfo);
    ExifBlock found;
    if (!cursor.ready()) set_error(kErrorOutOfMemory);
    if (!cursor.ready() || cursor.start_at(static_cast<int32_t>(session->streamOffset)) < 0 ||
        !find_exif(cursor.stream(), &found))
        return nullptr;
    if (!found.copy) {
        found.copy.reset(os_allocate(static_cast<size_t>(found.size) + 1));
        if (!found.copy) {
            set_error(kErrorOutOfMemory);
            return nullptr;
        }
        std::memcpy(found.copy.as<void>(), found.data, static_cast<size_t>(found.size));
    }
    *length = static_cast<uint32_t>(found.size);
    return static_cast<uint8_t *>(found.copy.release());
}

ExifInfo *BRIMJ_CreatExifInfo(DecInfo *session) {
    StreamCursor cursor(session->ioInfo);
    ExifInfo *info = os_allocate_array<ExifInfo>(1);
    const bool ready = info && cursor.ready();
    if (!ready) set_error(kErrorOutOfMemory);
    if (ready && cursor.start_at(static_cast<int32_t>(session->streamOffset)) >= 0 &&
        BRIMJ_GetExifInfo(cursor.stream(), info))
        return info;
    VOREL_TRACE(kTagJpeg);
    if (info) BRIMJ_DestroyExifInfo(info);
    return nullptr;
}

ExifInfo *BRIMJ_CreatExifInfoUseExifBuffer(const uint8_t *buffer, int32_t length) {
    constexpr int32_t kHeaderBytes = 10;  // marker, length, prefix
    const int32_t size = buffer && length >= 4 && big_endian_16(buffer) == 0xFFE1 ? big_endian_16(buffer + 2) : 0;
    ExifInfo *info = nullptr;
    if (size >= 8 && size + 1 < length && std::memcmp(buffer + 4, kPrefix, kPrefixBytes) == 0) {
        info = os_allocate_array<ExifInfo>(1);
        if (!info) set_error(kErrorOutOfMemory);
    }
    if (info && BRIMJ_ReadExifInfo(buffer + kHeaderBytes, kHeaderBytes, static_cast<uint32_t>(size - 8), info)) {
        return info;
    }
    VOREL_TRACE(kTagJpeg);
    if (info) BRIMJ_DestroyExifInfo(info);
    return nullptr;
}

int32_t BRIMJ_DestroyExifInfo(ExifInfo *info) {
    if (!info) {
        VOREL_TRACE(kTagJpeg);
        return 0;
    }
    for (char *text : info->textFields) os_release(text);
    os_release(info->exifVersion);
    os_release(info->dateTimeOriginal);
    os_release(info->dateTimeDigitized);
    if (info->gps) {
        os_release(info->gps->mapDatum);
        os_release(info->gps->processingMethod);
        os_release(info->gps);
    }
    os_release(info);
    return 1;
}

void BRIMJ_ParseExifThumbnail(void) {}

int32_t BRIMJ_DecodeUncompressThumbnail(void) { return 1; }

}  // extern "C"
