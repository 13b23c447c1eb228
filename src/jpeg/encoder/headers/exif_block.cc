// The TIFF structure of an Exif record (Exif 2.3, 4.6): 0th directory, Exif, GPS, 1st for the thumbnail.
#include "jpeg/encoder/headers/exif_block.h"

#include <vorel/exif_writer.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/core.h"

namespace vorel {
namespace {

constexpr uint32_t kHeaderBytes = 8;
constexpr uint32_t kMostText = 65535;

uint32_t text_size(const char *text) { return static_cast<uint32_t>(strnlen(text, kMostText)) + 1; }

// Bytes of a value that stand outside of its entry.
uint64_t stored_bytes(const ExifEntry &entry) {
    switch (entry.type) {
        case kAscii:
            return entry.count;
        case kRational:
            return uint64_t{entry.count} * 8;
        case kUndefined:
            return entry.count > 4 ? entry.count : 0;
        default:
            return 0;
    }
}

uint32_t write_entry(const ExifEntry &entry, uint8_t *base, uint32_t at, uint32_t *cursor) {
    switch (entry.type) {
        case kShort:
            return __rim_WriteSHORTTag(base, at, cursor, entry.tag, static_cast<uint16_t>(entry.value));
        case kRational:
            return __rim_WriteGPSInfoTag(base, at, cursor, entry.tag, static_cast<const uint32_t *>(entry.data),
                                         entry.count);
        case kAscii:
            return __rim_WriteASCIITag(base, at, cursor, entry.tag, static_cast<const char *>(entry.data));
        case kByte:
            return __rim_WriteBYTESTag(base, at, cursor, entry.tag, static_cast<const uint8_t *>(entry.data),
                                       entry.count);
        case kUndefined:
            return __rim_WriteUNDEFINEDTag(base, at, cursor, entry.tag, static_cast<const uint8_t *>(entry.data),
                                           entry.count);
        default:
            return __rim_WriteLONGTag(base, at, cursor, entry.tag, entry.is_cursor ? *cursor : entry.value);
    }
}

// Local time, as the tag has it but for the leading zeros. Required: numbers have none.
template <size_t size>
void print_now(char (&out)[size]) {
    const time_t now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    std::snprintf(out, size, "%d:%d:%d %d:%d:%d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                  local.tm_min, local.tm_sec);
}

bool any(const uint32_t *words, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        if (words[i]) return true;
    return false;
}

void add_rationals_if_any(ExifDirectory *directory, uint16_t tag, const uint32_t *pairs, uint32_t count = 1) {
    if (any(pairs, 2 * count)) directory->add_rationals(tag, pairs, count);
}
void add_short_if_any(ExifDirectory *directory, uint16_t tag, uint32_t value) {
    if (value) directory->add_short(tag, value);
}

void add_camera(ExifDirectory *directory, const ExifInfo &exif) {
    add_rationals_if_any(directory, 33434, exif.exposureTime);
    add_rationals_if_any(directory, 33437, exif.fNumber);
    add_short_if_any(directory, 34855, exif.iso);
    add_short_if_any(directory, 37385, exif.flash);
    // Required: before 37386, which is not the order of the numbers.
    directory->add_short(41987, exif.whiteBalance);
    add_rationals_if_any(directory, 37386, exif.focalLength);
}

void add_thumbnail(ExifDirectory *directory, const ExifInfo &exif) {
    if (exif.thumbnailWidth) directory->add_long(256, exif.thumbnailWidth);
    if (exif.thumbnailHeight) directory->add_long(257, exif.thumbnailHeight);
    add_short_if_any(directory, 259, exif.thumbnailCompression);
    add_rationals_if_any(directory, 282, exif.thumbnailXResolution);
    add_rationals_if_any(directory, 283, exif.thumbnailYResolution);
    directory->add_cursor(513);
    if (exif.thumbnailSize) directory->add_long(514, exif.thumbnailSize);
}

}  // namespace

void ExifDirectory::add_text(uint16_t tag, const char *text) { add({tag, kAscii, text_size(text), text, 0, false}); }

uint64_t ExifDirectory::size() const {
    uint64_t bytes = 2 + uint64_t{TiffReader::kEntryBytes} * (count_ + reserved_) + 4;
    for (uint32_t i = 0; i < count_; ++i) bytes += stored_bytes(entries_[i]);
    return bytes;
}

uint32_t ExifDirectory::write(uint8_t *base, uint32_t *cursor) const {
    const uint32_t count = count_ + reserved_;
    uint32_t at = *cursor;
    __rim_WriteSHORT_LE(base + at, static_cast<uint16_t>(count));
    at += 2;
    *cursor = at + static_cast<uint32_t>(TiffReader::kEntryBytes) * count + 4;
    for (uint32_t i = 0; i < count_; ++i) at = write_entry(entries_[i], base, at, cursor);
    return at;
}

ExifBlock::ExifBlock(const ExifInfo &exif, bool with_thumbnail) : has_gps_(exif.gps), has_first_(with_thumbnail) {
    if (exif.textFields[0]) zeroth_.add_text(271, exif.textFields[0]);
    if (exif.textFields[1]) zeroth_.add_text(272, exif.textFields[1]);
    add_short_if_any(&zeroth_, kOrientationTag, exif.orientation);
    add_rationals_if_any(&zeroth_, 282, exif.xResolution);
    add_rationals_if_any(&zeroth_, 283, exif.yResolution);
    add_short_if_any(&zeroth_, 296, exif.resolutionUnit);
    print_now(now_);
    if (exif.dateTime) zeroth_.add_text(306, now_);
    add_short_if_any(&zeroth_, 531, exif.yCbCrPositioning);
    zeroth_.add_cursor(34665);
    add_camera(&exif_, exif);
    if (has_first_) add_thumbnail(&first_, exif);
    if (!has_gps_) return;

    zeroth_.reserve_entry();
    const GpsInfo &gps = *exif.gps;
    const auto add_reference = [this](uint16_t tag, char letter, char(&text)[2]) {
        text[0] = letter;
        text[1] = '\0';
        gps_.add_text(tag, text);
    };
    const char latitude = gps.latitudeRef[0], longitude = gps.longitudeRef[0];
    if (latitude == 'N' || latitude == 'S') add_reference(1, latitude, references_[0]);
    add_rationals_if_any(&gps_, 2, gps.latitude[0], 3);
    if (longitude == 'E' || longitude == 'W') add_reference(3, longitude, references_[1]);
    add_rationals_if_any(&gps_, 4, gps.longitude[0], 3);
    if (gps.altitudeRef < 2) gps_.add_bytes(5, kByte, &gps.altitudeRef, 1);
    add_rationals_if_any(&gps_, 6, gps.altitude);
    add_rationals_if_any(&gps_, 7, gps.timeStamp[0], 3);
    if (gps.processingMethod) {
        const char *method = reinterpret_cast<const char *>(gps.processingMethod);
        gps_.add_bytes(27, kUndefined, method, text_size(method));
    }
}

uint64_t ExifBlock::size() const {
    return kHeaderBytes + zeroth_.size() + exif_.size() + (has_gps_ ? gps_.size() : 0) +
           (has_first_ ? first_.size() : 0);
}

uint32_t ExifBlock::write(uint8_t *base) const {
    std::memcpy(base, "II", 2);
    __rim_WriteSHORT_LE(base + 2, 42);
    __rim_WriteLONG_LE(base + 4, kHeaderBytes);
    uint32_t cursor = kHeaderBytes;
    uint32_t link = zeroth_.write(base, &cursor);
    uint32_t end = exif_.write(base, &cursor);
    __rim_WriteLONG_LE(base + end, 0);
    if (has_gps_) {
        link = __rim_WriteLONGTag(base, link, &cursor, 34853, cursor);
        end = gps_.write(base, &cursor);
        __rim_WriteLONG_LE(base + end, 0);
    }
    if (has_first_) {
        __rim_WriteLONG_LE(base + link, cursor);
        end = first_.write(base, &cursor);
        __rim_WriteLONG_LE(base + end, 0);
    } else {
        // Required: the 0th directory's link stays what the memory held, and the third word of the last directory's
        // values becomes 0, or that behind the block.
        __rim_WriteLONG_LE(base + end + kSlackBytes, 0);
    }
    return cursor;
}

}  // namespace vorel

extern "C" uint32_t __rim_CreateExif(uint8_t *destination, ExifInfo *exif) {
    return vorel::ExifBlock(*exif, exif->hasThumbnail != 0).write(destination);
}
