// Operations on the bytes of a JPEG file.
#pragma once

#include <algorithm>

#include "support/samples.h"

namespace vorel::test {

// Position of the FF of the first marker of that code at or behind `from`; bytes.size() when there is none.
inline size_t find_marker(const Bytes &bytes, int code, size_t from = 0) {
    for (size_t i = from; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == 0xFF && bytes[i + 1] == code) return i;
    }
    return bytes.size();
}

// The first byte of entropy-coded data.
inline size_t scan_data(const Bytes &bytes) {
    const size_t sos = find_marker(bytes, 0xDA);
    return sos + 2 + static_cast<size_t>(bytes[sos + 2] << 8 | bytes[sos + 3]);
}

inline Bytes without(const Bytes &bytes, size_t from, size_t to) {
    return cat({head(bytes, from), tail(bytes, bytes.size() - to)});
}

inline Bytes with_inserted(Bytes bytes, size_t at, const Bytes &what) {
    bytes.insert(bytes.begin() + static_cast<ptrdiff_t>(at), what.begin(), what.end());
    return bytes;
}

// Without the segment whose marker stands at `at`.
inline Bytes without_segment(const Bytes &bytes, size_t at) {
    return without(bytes, at, at + 2 + static_cast<size_t>(bytes[at + 2] << 8 | bytes[at + 3]));
}

// Position of scan `number`, from 0: of its SOS, or of the tables in front of that.
inline size_t nth_scan(const Bytes &bytes, int number, bool with_tables = false) {
    size_t at = find_marker(bytes, 0xDA);
    size_t before = at;
    for (int i = 0; i < number; ++i) {
        before = at;
        at = find_marker(bytes, 0xDA, at + 2);
    }
    return with_tables ? std::min(at, find_marker(bytes, 0xC4, before + 2)) : at;
}

}  // namespace vorel::test
