#include "dng/parse/tag_helpers.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

namespace {

std::string read_text(VorelDngStream &stream, uint32_t count) {
    std::string text;
    const uint64_t at = stream.getPosition();
    const uint32_t bytes = stream.takeCopy(count);
    if (bytes && stream.holds(at, bytes)) text.assign(reinterpret_cast<const char *>(stream.data()) + at, bytes);
    return text;
}

std::string until_nul(const std::string &text) { return text.substr(0, text.find('\0')); }

bool may_copy_doubles(VorelDngStream &stream, uint32_t count) {
    const uint32_t bytes = count * static_cast<uint32_t>(sizeof(double));
    return stream.takeCopy(bytes) == bytes;
}

bool begins_with_name(const std::string &text, const char *name) {
    const size_t length = std::strlen(name);
    return text.size() >= length && std::equal(name, name + length, text.begin(), [](char a, char b) {
               return a == static_cast<char>(std::toupper(static_cast<unsigned char>(b)));
           });
}

}  // namespace

bool CheckTagType(uint32_t, uint32_t, uint32_t tagType, uint32_t t1, uint32_t t2, uint32_t t3, uint32_t t4) {
    return tagType == t1 || tagType == t2 || tagType == t3 || tagType == t4;
}

bool CheckTagCount(uint32_t, uint32_t, uint32_t tagCount, uint32_t minCount, uint32_t maxCount) {
    return tagCount >= minCount && tagCount <= std::max(minCount, maxCount);
}

bool CheckCFA(uint32_t, uint32_t, uint32_t photometric) { return photometric == 32803; }

bool CheckRawIFD(uint32_t, uint32_t, uint32_t photometric) { return photometric == 34892 || photometric == 32803; }

bool CheckMainIFD(uint32_t, uint32_t, uint32_t newSubFileType) { return newSubFileType == 0; }

bool CheckColorImage(uint32_t, uint32_t, uint32_t colorPlanes) { return colorPlanes > 1; }

void ParseStringTag(VorelDngStream &stream, uint32_t, uint32_t, uint32_t tagCount, std::string &string) {
    string = until_nul(read_text(stream, tagCount));
}

void ParseDualStringTag(VorelDngStream &stream, uint32_t, uint32_t, uint32_t tagCount, std::string &first,
                        std::string &second) {
    const std::string both = read_text(stream, tagCount);
    first = until_nul(both);
    second = first.size() < both.size() ? until_nul(both.substr(first.size() + 1)) : std::string();
}

void ParseEncodedStringTag(VorelDngStream &stream, uint32_t, uint32_t, uint32_t tagCount, std::string &string) {
    const std::string text = read_text(stream, tagCount);
    string.clear();
    // "ASCII", "JIS" and anything else are followed by bytes that are shown as they are.
    if (text.size() > 8 && !begins_with_name(text, "UNICODE")) string = until_nul(text.substr(8));
}

bool ParseVectorTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount,
                    uint32_t count, VorelDngVector &vector) {
    if (count > VorelDngVector::kMost || !CheckTagCount(parentCode, tagCode, tagCount, count)) return false;
    if (!may_copy_doubles(stream, count)) return false;
    VorelDngVector read(count);
    for (uint32_t i = 0; i < count; ++i) {
        read[i] = stream.getTagValue_QMDOUBLE(tagType);
        if (!std::isfinite(read[i])) return false;
    }
    vector = read;
    return true;
}

bool ParseMatrixTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount,
                    uint32_t rows, uint32_t columns, VorelDngMatrix &matrix) {
    if (rows > VorelDngMatrix::kMost || columns > VorelDngMatrix::kMost) return false;
    if (!CheckTagCount(parentCode, tagCode, tagCount, rows * columns)) return false;
    if (!may_copy_doubles(stream, tagCount)) return false;
    VorelDngMatrix read(rows, columns);
    for (uint32_t row = 0; row < rows; ++row) {
        for (uint32_t column = 0; column < columns; ++column) {
            read[row][column] = stream.getTagValue_QMDOUBLE(tagType);
            if (!std::isfinite(read[row][column])) return false;
        }
    }
    matrix = read;
    return true;
}

bool ParseDateTimeTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                      uint32_t tagCount, VorelDngDateTime &dateTime) {
    // 20 by the standard; some writers leave out the NUL.
    if (!CheckTagType(parentCode, tagCode, tagType, vorel::kTagAscii)) return false;
    if (!CheckTagCount(parentCode, tagCode, tagCount, 19, 64)) return false;
    std::string text;
    ParseStringTag(stream, parentCode, tagCode, tagCount, text);
    return dateTime.parse(text.c_str());
}

bool ParseDoubles(VorelDngStream &stream, uint32_t tagType, uint32_t tagCount, double *values, uint32_t places) {
    constexpr uint32_t kMost = 256;
    double read[kMost];
    const uint32_t count = std::min({tagCount, places, kMost});
    if (!may_copy_doubles(stream, count)) return false;
    for (uint32_t i = 0; i < count; ++i) {
        read[i] = stream.getTagValue_QMDOUBLE(tagType);
        if (!std::isfinite(read[i])) return false;
    }
    std::copy(read, read + count, values);
    return true;
}
