#include "dng/parse/stream.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "dng/base/limits.h"
#include "dng/parse/tag_types.h"

namespace {

// Rounded to the nearest integer of the type, halves up; not a number is 0.
template <typename Integer>
Integer limited(double value) {
    constexpr double kLeast = std::numeric_limits<Integer>::min(), kMost = std::numeric_limits<Integer>::max();
    if (!(value > kLeast)) return value == value ? std::numeric_limits<Integer>::min() : Integer{0};
    if (value >= kMost) return std::numeric_limits<Integer>::max();
    return static_cast<Integer>(std::floor(value + 0.5));
}

// Of the fraction that stands for a real number: millionths where they fit in 31 bits.
uint32_t denominator_for(double value) { return std::fabs(value) < 2000 ? 1000000 : 1; }

}  // namespace

VorelDngStream::VorelDngStream(const char *path) {
    file_ = path ? std::fopen(path, "rb") : nullptr;
    if (!file_ || std::fseek(file_, 0, SEEK_END) != 0) return;
    const long size = std::ftell(file_);
    if (size < 1 || size > INT32_MAX || std::fseek(file_, 0, SEEK_SET) != 0) return;
    const auto bytes = static_cast<uint32_t>(size);
    owned_ = static_cast<uint8_t *>(std::malloc(bytes));
    if (!owned_ || std::fread(owned_, 1, bytes, file_) != bytes) return;
    data_ = owned_;
    length_ = bytes;
}

VorelDngStream::~VorelDngStream() {
    if (file_) std::fclose(file_);
    std::free(owned_);
}

VorelDngStream::VorelDngStream(const VorelDngStream &other) : VorelDngStream(other, other.position_) {}

VorelDngStream::VorelDngStream(const VorelDngStream &other, uint64_t position)
    : data_(other.data_),
      length_(other.length_),
      position_(position),
      littleEndian_(other.littleEndian_),
      copyTaken_(other.copyTaken_) {}

const uint8_t *VorelDngStream::take(uint32_t bytes) {
    const uint64_t from = position_;
    if (!holds(from, bytes)) {
        failed_ = true;
        position_ = length_;
        return nullptr;
    }
    position_ += bytes;
    return data_ + from;
}

uint32_t VorelDngStream::takeCopy(uint32_t wanted) {
    const uint32_t taken = std::min({wanted, vorel::kMaxTagText, vorel::kMaxParseText - copyTaken_});
    copyTaken_ += taken;
    return taken;
}

uint8_t VorelDngStream::get_QMUINT8() {
    const uint8_t *const bytes = take(1);
    return bytes ? bytes[0] : 0;
}

uint16_t VorelDngStream::get_QMUINT16() {
    const uint8_t *const bytes = take(2);
    if (!bytes) return 0;
    return static_cast<uint16_t>(littleEndian_ ? bytes[0] | bytes[1] << 8 : bytes[0] << 8 | bytes[1]);
}

uint32_t VorelDngStream::get_QMUINT32() {
    if (!holds(position_, 4)) {
        take(4);
        return 0;
    }
    const uint32_t first = get_QMUINT16(), second = get_QMUINT16();
    return littleEndian_ ? first | second << 16 : first << 16 | second;
}

float VorelDngStream::get_QMFLOAT() { return std::bit_cast<float>(get_QMUINT32()); }

double VorelDngStream::get_QMDOUBLE() {
    if (!holds(position_, 8)) {
        take(8);
        return 0;
    }
    const uint64_t first = get_QMUINT32(), second = get_QMUINT32();
    return std::bit_cast<double>(littleEndian_ ? first | second << 32 : first << 32 | second);
}

double VorelDngStream::getTagValue_QMDOUBLE(uint32_t type) {
    switch (type) {
        case vorel::kTagByte:
        case vorel::kTagUndefined:
            return get_QMUINT8();
        case vorel::kTagSByte:
            return static_cast<int8_t>(get_QMUINT8());
        case vorel::kTagShort:
        case vorel::kTagUnicode:
            return get_QMUINT16();
        case vorel::kTagSShort:
            return static_cast<int16_t>(get_QMUINT16());
        case vorel::kTagLong:
        case vorel::kTagIfd:
            return get_QMUINT32();
        case vorel::kTagSLong:
            return static_cast<int32_t>(get_QMUINT32());
        case vorel::kTagRational: {
            const uint32_t n = get_QMUINT32(), d = get_QMUINT32();
            return vorel::DngURational{n, d}.value();
        }
        case vorel::kTagSRational: {
            const auto n = static_cast<int32_t>(get_QMUINT32()), d = static_cast<int32_t>(get_QMUINT32());
            return vorel::DngSRational{n, d}.value();
        }
        case vorel::kTagFloat:
            return get_QMFLOAT();
        case vorel::kTagDouble:
            return get_QMDOUBLE();
        default:
            if (const uint32_t size = TagTypeSize(type)) take(size);
            return 0;
    }
}

uint32_t VorelDngStream::getTagValue_QMUINT32(uint32_t type) { return limited<uint32_t>(getTagValue_QMDOUBLE(type)); }

int32_t VorelDngStream::getTagValue_QMINT32(uint32_t type) { return limited<int32_t>(getTagValue_QMDOUBLE(type)); }

vorel::DngURational VorelDngStream::getTagValue_urational(uint32_t type) {
    if (type == vorel::kTagRational) {
        const uint32_t n = get_QMUINT32(), d = get_QMUINT32();
        return {n, d};
    }
    if (type == vorel::kTagSRational) {
        const auto n = static_cast<int32_t>(get_QMUINT32()), d = static_cast<int32_t>(get_QMUINT32());
        if (n >= 0 && d >= 0) return {static_cast<uint32_t>(n), static_cast<uint32_t>(d)};
        if (n > 0 || d > 0) return {0, 1};
        return {0u - static_cast<uint32_t>(n), 0u - static_cast<uint32_t>(d)};
    }
    const double value = getTagValue_QMDOUBLE(type);
    const uint32_t d = type == vorel::kTagFloat || type == vorel::kTagDouble ? denominator_for(value) : 1;
    return {limited<uint32_t>(value * d), d};
}

vorel::DngSRational VorelDngStream::getTagValue_srational(uint32_t type) {
    if (type == vorel::kTagSRational) {
        const auto n = static_cast<int32_t>(get_QMUINT32()), d = static_cast<int32_t>(get_QMUINT32());
        return {n, d};
    }
    if (type == vorel::kTagRational) {
        uint32_t n = get_QMUINT32(), d = get_QMUINT32();
        if (n > INT32_MAX || d > INT32_MAX) n >>= 1, d >>= 1;
        return {static_cast<int32_t>(n), static_cast<int32_t>(d)};
    }
    const double value = getTagValue_QMDOUBLE(type);
    const uint32_t d = type == vorel::kTagFloat || type == vorel::kTagDouble ? denominator_for(value) : 1;
    return {limited<int32_t>(value * d), static_cast<int32_t>(d)};
}
