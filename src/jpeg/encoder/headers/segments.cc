// The application and comment segments of a stream's header: APP1 with Exif data (Exif 2.3, 4.5), COM, APP14.
#include <vorel/exif_writer.h>

#include "jpeg/encoder/headers/exif_block.h"
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

constexpr uint32_t kExifPrefixBytes = 10;       // marker, length, "Exif" and two zeros
constexpr uint64_t kMostSegmentLength = 65535;  // the length counts itself, not the marker
constexpr uint64_t kUncountedBytes = 2;

bool streams(const RimEncSink &sink) { return sink.mode == kSinkFile || sink.mode == kSinkCallback; }

void write_segment(uint8_t *out, const ExifBlock &block, uint32_t thumbnail_bytes) {
    const uint64_t length = kExifPrefixBytes - kUncountedBytes + block.size() + thumbnail_bytes;
    const uint8_t prefix[kExifPrefixBytes] = {
        0xFF, kApp1, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length), 'E', 'x', 'i', 'f', 0, 0};
    std::memcpy(out, prefix, sizeof prefix);
    block.write(out + kExifPrefixBytes);
}

// A segment that is longer than what a stream's buffer holds: it leaves in one piece with what is in the buffer.
bool write_long_segment(JEInfo *session, const ExifBlock &block, uint32_t segment_bytes, uint32_t thumbnail_bytes) {
    RimEncSink *sink = session->sink;
    OsBlock piece(os_allocate_zeroed(size_t{sink->position} + segment_bytes + ExifBlock::kSlackBytes));
    if (!piece) {
        VOREL_LOG(kTagJpegStat, "[%s : memalloc Fail!!(%d)]\n", "__rim_jpeg_enc_write_app1_marker", __LINE__);
        session->work->failed = true;
        return false;
    }
    const uint32_t before = sink->position;
    std::memcpy(piece.as<uint8_t>(), sink->buffer, before);
    write_segment(piece.as<uint8_t>() + before, block, thumbnail_bytes);
    sink->position = 0;
    hand_over(session, piece.as<uint8_t>(), before + segment_bytes);
    return !session->work->failed;
}

bool write_exif(JEInfo *session, const ExifBlock &block, const uint8_t *thumbnail, uint32_t thumbnail_bytes) {
    RimEncSink *sink = session->sink;
    const uint32_t segment_bytes = kExifPrefixBytes + static_cast<uint32_t>(block.size());
    const uint32_t room = segment_bytes + ExifBlock::kSlackBytes;
    if (streams(*sink) && room > kMostMcuBytes) {
        if (!write_long_segment(session, block, segment_bytes, thumbnail_bytes)) return false;
    } else {
        if (!make_room(session, room)) return false;
        write_segment(sink->buffer + sink->position, block, thumbnail_bytes);
        sink->position += segment_bytes;
    }
    if (thumbnail_bytes == 0) return true;
    if (streams(*sink)) {
        hand_over(session);
        hand_over(session, thumbnail, thumbnail_bytes);
        return !session->work->failed;
    }
    if (!make_room(session, thumbnail_bytes)) return false;
    put_bytes(session, thumbnail, thumbnail_bytes);
    return true;
}

template <size_t count>
int32_t write_fixed(JEInfo *session, const uint8_t (&bytes)[count]) {
    if (!make_room(session, count)) return 0;
    put_bytes(session, bytes, count);
    return 1;
}

int32_t write_app14(JEInfo *session, uint8_t transform) {
    const uint8_t segment[] = {0xFF, kApp14, 0, 14, 'A', 'd', 'o', 'b', 'e', 1, 0, 0, 0, 0, 0, transform};
    return write_fixed(session, segment);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t __rim_jpeg_enc_write_app1_marker(JEInfo *session) {
    const ExifInfo *exif = session->exif;
    if (!exif) return 1;
    const auto fits = [](const ExifBlock &block, uint32_t thumbnail_bytes) {
        return kExifPrefixBytes - kUncountedBytes + block.size() + thumbnail_bytes <= kMostSegmentLength;
    };
    if (exif->hasThumbnail) {
        const ExifBlock block(*exif, true);
        const uint32_t bytes = exif->thumbnailSize;
        if (fits(block, bytes) && (bytes == 0 || exif->thumbnailData))
            return write_exif(session, block, exif->thumbnailData, bytes);
        VOREL_ENC_LOG("[%s : thumbnail left out!!(%d)]\n");
    }
    const ExifBlock block(*exif, false);
    if (fits(block, 0)) return write_exif(session, block, nullptr, 0);
    VOREL_ENC_LOG("[%s : Exif data too large, left out!!(%d)]\n");
    return 1;
}

int32_t __rim_jpeg_enc_write_com_marker(JEInfo *session) {
    static constexpr uint8_t kText[] = "File written by Adobe Photoshop\xA8 5.0";
    constexpr uint32_t kTextBytes = sizeof kText - 1;
    if (!make_room(session, 4 + kTextBytes)) return 0;
    put_marker(session, kCom);
    put_short(session, 2 + kTextBytes);
    put_bytes(session, kText, kTextBytes);
    return 1;
}

int32_t __rim_jpeg_enc_write_app14_marker(JEInfo *session) { return write_app14(session, 1); }
int32_t __rim_jpeg_enc_write_app14_marker_II(JEInfo *session) { return write_app14(session, 0); }

int32_t __rim_jpeg_enc_write_appn_marker(JEInfo *) { return 1; }

}  // extern "C"
