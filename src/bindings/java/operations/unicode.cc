#include "bindings/java/operations/unicode.h"

#include <cstring>

#include "core/core.h"

namespace vorel {
namespace {

constexpr uint32_t kReplacement = 0xFFFD;
constexpr size_t kMostBytes = 3;  // of UTF-8 for a unit of UTF-16; a pair of them takes four

bool is_high_surrogate(uint32_t unit) { return (unit & 0xFC00) == 0xD800; }
bool is_low_surrogate(uint32_t unit) { return (unit & 0xFC00) == 0xDC00; }

// Takes one character off the units.
uint32_t take_character(const uint16_t *units, size_t count, size_t *at) {
    const uint32_t unit = units[(*at)++];
    if (is_high_surrogate(unit) && *at < count && is_low_surrogate(units[*at])) {
        return 0x10000 + ((unit - 0xD800) << 10) + (units[(*at)++] - 0xDC00u);
    }
    return is_high_surrogate(unit) || is_low_surrogate(unit) ? kReplacement : unit;
}

uint8_t *put_character(uint32_t character, uint8_t *out) {
    const auto tail = [&](int shift) { return static_cast<uint8_t>(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        *out++ = static_cast<uint8_t>(character);
        return out;
    }
    if (character < 0x800) {
        *out++ = static_cast<uint8_t>(0xC0 | (character >> 6));
    } else if (character < 0x10000) {
        *out++ = static_cast<uint8_t>(0xE0 | (character >> 12));
        *out++ = tail(6);
    } else {
        *out++ = static_cast<uint8_t>(0xF0 | (character >> 18));
        *out++ = tail(12);
        *out++ = tail(6);
    }
    *out++ = tail(0);
    return out;
}

// The character that begins at text, and its bytes; one byte and the replacement for what is none. Overlong forms,
// surrogates and what lies behind U+10FFFF are none.
uint32_t read_character(const uint8_t *text, size_t left, size_t *bytes) {
    const uint32_t first = text[0];
    *bytes = 1;
    if (first < 0x80) return first;
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || left < length) return kReplacement;
    uint32_t character = first & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((text[i] & 0xC0) != 0x80) return kReplacement;
        character = character << 6 | (text[i] & 0x3Fu);
    }
    constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (character < kLeast[length] || character > 0x10FFFF || (character & ~0x7FFu) == 0xD800) return kReplacement;
    *bytes = length;
    return character;
}

}  // namespace

char *utf8_of(const uint16_t *units, size_t count) {
    void *block = os_allocate(count * kMostBytes + 1);
    if (!block) return nullptr;
    uint8_t *out = static_cast<uint8_t *>(block);
    for (size_t at = 0; at < count;) out = put_character(take_character(units, count, &at), out);
    *out = 0;
    return static_cast<char *>(block);
}

uint16_t *utf16_of(const char *text, size_t limit, size_t *count) {
    const size_t bytes = strnlen(text, limit);
    *count = 0;
    // No character takes more units than bytes.
    uint16_t *out = static_cast<uint16_t *>(os_allocate((bytes + 1) * sizeof(uint16_t)));
    if (!out) return nullptr;
    for (size_t at = 0, used; at < bytes; at += used) {
        const uint32_t character = read_character(reinterpret_cast<const uint8_t *>(text) + at, bytes - at, &used);
        if (character >= 0x10000) {
            out[(*count)++] = static_cast<uint16_t>(0xD7C0 + (character >> 10));
            out[(*count)++] = static_cast<uint16_t>(0xDC00 | (character & 0x3FF));
        } else {
            out[(*count)++] = static_cast<uint16_t>(character);
        }
    }
    return out;
}

}  // namespace vorel
