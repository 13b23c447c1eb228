// Exif blocks made from single values.
#include "exif_writer.h"

#include <algorithm>
#include <cstdio>

namespace vorel_tool {
namespace {

constexpr uint16_t kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kSRational = 10;
constexpr uint16_t kExifDirectory = 34665, kGpsDirectory = 34853;

void append(std::vector<uint8_t> *out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out->push_back(static_cast<uint8_t>(value >> 8 * i));
}

}  // namespace

void ExifDirectory::put_bytes(uint16_t tag, uint16_t type, const std::vector<uint8_t> &bytes) {
    entries_.push_back({tag, type, static_cast<uint32_t>(bytes.size()), bytes});
}

void ExifDirectory::put_text(uint16_t tag, const std::string &text) {
    if (text.empty()) return;
    std::vector<uint8_t> bytes(text.begin(), text.end());
    bytes.push_back(0);
    put_bytes(tag, kAscii, bytes);
}

void ExifDirectory::put_short(uint16_t tag, uint32_t value) {
    Entry entry = {tag, kShort, 1, {}};
    append(&entry.value, value, 2);
    entries_.push_back(entry);
}

void ExifDirectory::put_long(uint16_t tag, uint32_t value) {
    Entry entry = {tag, kLong, 1, {}};
    append(&entry.value, value, 4);
    entries_.push_back(entry);
}

void ExifDirectory::put_rationals(uint16_t tag, const std::vector<const char *> &quotients, bool is_signed) {
    Entry entry = {tag, is_signed ? kSRational : kRational, static_cast<uint32_t>(quotients.size()), {}};
    for (const char *text : quotients) {
        long long n = 0, d = 0;
        std::sscanf(text, "%lld/%lld", &n, &d);
        if (entry.value.empty() && d == 0) return;
        append(&entry.value, static_cast<uint32_t>(n), 4);
        append(&entry.value, static_cast<uint32_t>(d), 4);
    }
    entries_.push_back(entry);
}

uint32_t ExifDirectory::append_to(std::vector<uint8_t> *out) const {
    std::vector<Entry> sorted = entries_;
    std::sort(sorted.begin(), sorted.end(), [](const Entry &a, const Entry &b) { return a.tag < b.tag; });
    if (out->size() % 2) out->push_back(0);
    const uint32_t begin = static_cast<uint32_t>(out->size());
    uint32_t values_at = begin + 2 + static_cast<uint32_t>(12 * sorted.size()) + 4;
    std::vector<uint8_t> values;
    append(out, static_cast<uint32_t>(sorted.size()), 2);
    for (const Entry &entry : sorted) {
        append(out, entry.tag, 2);
        append(out, entry.type, 2);
        append(out, entry.count, 4);
        std::vector<uint8_t> value = entry.value;
        if (value.size() > 4) {
            append(out, values_at + static_cast<uint32_t>(values.size()), 4);
            if (value.size() % 2) value.push_back(0);
            values.insert(values.end(), value.begin(), value.end());
        } else {
            value.resize(4);
            out->insert(out->end(), value.begin(), value.end());
        }
    }
    append(out, 0, 4);
    out->insert(out->end(), values.begin(), values.end());
    return begin;
}

std::vector<uint8_t> exif_structure(ExifDirectory zeroth, const ExifDirectory &exif, const ExifDirectory &gps) {
    std::vector<uint8_t> out = {'I', 'I', 42, 0, 0, 0, 0, 0};
    if (!exif.empty()) zeroth.put_long(kExifDirectory, exif.append_to(&out));
    if (!gps.empty()) zeroth.put_long(kGpsDirectory, gps.append_to(&out));
    const uint32_t first = zeroth.append_to(&out);
    for (int i = 0; i < 4; ++i) out[static_cast<size_t>(4 + i)] = static_cast<uint8_t>(first >> 8 * i);
    return out;
}

}  // namespace vorel_tool
