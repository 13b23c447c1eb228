// The walk over the entries of one directory (TIFF 6.0 section 2), within the limits of a parse.
#pragma once

#include "dng/base/limits.h"
#include "dng/parse/dng_file.h"
#include "dng/parse/tag_types.h"

namespace vorel {

constexpr uint64_t kIfdEntryBytes = 12;

// Calls entry(code, type, count, offset of the value) for each entry whose value lies in the stream; others are passed
// over. An entry of code 0 and type 0 is the last. False when the entries do not all lie in the stream.
template <typename Entry>
bool DngFile::walkEntries(VorelDngStream &from, uint64_t offset, uint64_t base, const Entry &entry) {
    if (!from.holds(offset, 2)) return false;
    from.setPosition(offset);
    const uint32_t entries = from.get_QMUINT16();
    for (uint32_t i = 0; i < entries; ++i) {
        const uint64_t at = offset + 2 + kIfdEntryBytes * i;
        if (entriesWalked_ >= kMaxIfdEntries || !from.holds(at, kIfdEntryBytes)) return false;
        ++entriesWalked_;
        from.setPosition(at);
        const uint32_t code = from.get_QMUINT16(), type = from.get_QMUINT16(), count = from.get_QMUINT32();
        if (code == 0 && type == 0) break;
        const uint64_t bytes = uint64_t{TagTypeSize(type)} * count;
        const uint64_t value = bytes > 4 ? base + from.get_QMUINT32() : at + 8;
        if (TagTypeSize(type) && from.holds(value, bytes)) entry(code, type, count, value);
    }
    return true;
}

}  // namespace vorel
