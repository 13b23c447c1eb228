// Values and directory entries of a TIFF structure, little-endian (TIFF 6.0 section 2). What has no room in the four
// bytes of its entry goes where the cursor stands.
#include <vorel/exif_writer.h>

#include <cstring>

#include "jpeg/tiff_reader.h"

using namespace vorel;

namespace {

constexpr uint32_t kValueAt = 8;  // of an entry: tag, type, count, value
constexpr uint32_t kInlineBytes = 4;
constexpr uint32_t kEntryBytes = static_cast<uint32_t>(TiffReader::kEntryBytes);

// An entry with a value field of zeros; returns where that field stands.
uint8_t *begin_entry(uint8_t *entry, uint16_t tag, TiffType type, uint32_t count) {
    __rim_WriteSHORT_LE(entry, tag);
    __rim_WriteSHORT_LE(entry + 2, type);
    __rim_WriteLONG_LE(entry + 4, count);
    __rim_WriteLONG_LE(entry + kValueAt, 0);
    return entry + kValueAt;
}

// Bytes in their entry while there is room.
uint32_t write_bytes_entry(uint8_t *base, uint32_t at, uint32_t *cursor, uint16_t tag, TiffType type,
                           const uint8_t *data, uint32_t count) {
    if (!data) count = 0;
    uint8_t *value = begin_entry(base + at, tag, type, count);
    if (count > kInlineBytes) {
        __rim_WriteLONG_LE(value, *cursor);
        value = base + *cursor;
        *cursor += count;
    }
    __rim_WriteUNDEFINED(value, data, count);
    return at + kEntryBytes;
}

}  // namespace

extern "C" {

void __rim_WriteSHORT_LE(uint8_t *destination, uint16_t value) {
    destination[0] = static_cast<uint8_t>(value);
    destination[1] = static_cast<uint8_t>(value >> 8);
}

void __rim_WriteLONG_LE(uint8_t *destination, uint32_t value) {
    __rim_WriteSHORT_LE(destination, static_cast<uint16_t>(value));
    __rim_WriteSHORT_LE(destination + 2, static_cast<uint16_t>(value >> 16));
}

void __rim_WriteRATIONAL(uint8_t *destination, uint32_t numerator, uint32_t denominator) {
    __rim_WriteLONG_LE(destination, numerator);
    __rim_WriteLONG_LE(destination + 4, denominator);
}

void __rim_WriteASCII(uint8_t *destination, const char *text, uint32_t count) {
    if (count) std::memcpy(destination, text, count);
}

void __rim_WriteUNDEFINED(uint8_t *destination, const uint8_t *data, uint32_t count) {
    if (count) std::memcpy(destination, data, count);
}

uint32_t __rim_GetStringSize(const char *text) { return text ? static_cast<uint32_t>(std::strlen(text)) + 1 : 1; }

uint32_t __rim_WriteASCII_String(uint8_t *destination, const char *text) {
    const uint32_t count = __rim_GetStringSize(text);
    __rim_WriteASCII(destination, text ? text : "", count);
    return count;
}

uint32_t __rim_WriteSHORTTag(uint8_t *base, uint32_t entryPosition, uint32_t *, uint16_t tag, uint16_t value) {
    __rim_WriteSHORT_LE(begin_entry(base + entryPosition, tag, kShort, 1), value);
    return entryPosition + kEntryBytes;
}

uint32_t __rim_WriteLONGTag(uint8_t *base, uint32_t entryPosition, uint32_t *, uint16_t tag, uint32_t value) {
    __rim_WriteLONG_LE(begin_entry(base + entryPosition, tag, kLong, 1), value);
    return entryPosition + kEntryBytes;
}

uint32_t __rim_WriteRATIONALTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                                const uint32_t *pair) {
    return __rim_WriteGPSInfoTag(base, entryPosition, cursor, tag, pair, 1);
}

uint32_t __rim_WriteGPSInfoTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                               const uint32_t *pairs, uint32_t count) {
    __rim_WriteLONG_LE(begin_entry(base + entryPosition, tag, kRational, count), *cursor);
    for (uint32_t i = 0; i < count; ++i, *cursor += 8)
        __rim_WriteRATIONAL(base + *cursor, pairs[2 * i], pairs[2 * i + 1]);
    return entryPosition + kEntryBytes;
}

uint32_t __rim_WriteASCIITag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag, const char *text) {
    const uint32_t count = text ? __rim_GetStringSize(text) : 0;
    uint8_t *value = begin_entry(base + entryPosition, tag, kAscii, count);
    if (!text) return entryPosition + kEntryBytes;
    // Required: a string that stands in its entry is stored a second time.
    if (count <= kInlineBytes)
        __rim_WriteASCII(value, text, count);
    else
        __rim_WriteLONG_LE(value, *cursor);
    *cursor += __rim_WriteASCII_String(base + *cursor, text);
    return entryPosition + kEntryBytes;
}

uint32_t __rim_WriteBYTESTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag, const uint8_t *data,
                             uint32_t count) {
    return write_bytes_entry(base, entryPosition, cursor, tag, kByte, data, count);
}

uint32_t __rim_WriteUNDEFINEDTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                                 const uint8_t *data, uint32_t count) {
    return write_bytes_entry(base, entryPosition, cursor, tag, kUndefined, data, count);
}

}  // extern "C"
