// One entry of an Exif directory (TIFF 6.0 section 2): what its four value bytes mean.
#include <vorel/exif.h>

#include "core/core.h"
#include "jpeg/tiff_reader.h"

using namespace vorel;

namespace {

constexpr const char *kName = "BRIMJ_ReadExifField";
constexpr int64_t kValue = 8;  // where an entry's value stands

}  // namespace

extern "C" {

int32_t BRIMJ_ReadExifField(const uint8_t *buffer, uint32_t offset, uint32_t length, uint32_t littleEndian,
                            ExifField *field) {
    const TiffReader tiff(buffer, length, littleEndian != 0);
    const auto out_of_bounds = [&](int64_t at, int64_t size) {
        VOREL_LOG(kTagJpeg, "[%s:%d, exifLength : %d, uValueOffset : %d, size : %d]", kName, __LINE__,
                  static_cast<int>(length), static_cast<int>(at), static_cast<int>(size));
        return 0;
    };
    if (!tiff.holds(offset, TiffReader::kEntryBytes)) return out_of_bounds(offset, TiffReader::kEntryBytes);
    field->tag = static_cast<uint16_t>(tiff.word(offset));
    field->type = static_cast<uint16_t>(tiff.word(offset + 2));
    field->count = tiff.long_word(offset + 4);
    if (field->type < 1 || field->type > kLastTiffType) return 0;
    const int64_t size = kTiffTypeSizes[field->type];
    const int64_t bytes = size * field->count;
    field->byteLength = static_cast<uint32_t>(bytes);
    if (size == 1 && field->count < 5) {
        field->value = static_cast<uint32_t>(offset + kValue);
        return 1;
    }
    if (size == 2 && field->count == 2) {
        VOREL_TRACE_AS(kTagJpeg, kName);
        return 0;
    }
    if (size < 8 && field->count == 1) {
        field->value = size == 2 ? tiff.word(offset + kValue) : tiff.long_word(offset + kValue);
        return 1;
    }
    field->value = tiff.long_word(offset + kValue);
    return tiff.holds(field->value, bytes) ? 1 : out_of_bounds(field->value, bytes);
}

}  // extern "C"
