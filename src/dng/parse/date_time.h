// Dates of Exif and TIFF: "YYYY:MM:DD HH:MM:SS" in local time.
#pragma once

#include <cstdint>

class VorelDngDateTime {
  public:
    // False, and no date, for text that is none; separators may be any character.
    bool parse(const char *text);
    bool isValid() const;

    uint32_t year = 0, month = 0, day = 0;  // 0: no date
    uint32_t hour = 0, minute = 0, second = 0;
    int32_t zoneMinutes = 0;  // east of Greenwich
};

namespace vorel {

enum class DngDateTimeFormat : int32_t { kUnknown = 0, kExif = 1 };

// Where in the file a date stands, so that it can be changed in place.
struct DngDateTimeStorageInfo {
    DngDateTimeFormat format = DngDateTimeFormat::kUnknown;
    uint64_t offset = 0;
};

}  // namespace vorel
