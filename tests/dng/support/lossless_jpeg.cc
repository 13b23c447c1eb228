#include "dng/support/lossless_jpeg.h"

#include <algorithm>
#include <cstdlib>

#include "support/samples.h"

namespace vorel::test {
namespace {

// Sizes 0 to 16.
constexpr int kSizes = 17;

struct BitWriter {
    Bytes out;
    uint32_t bits = 0;
    int count = 0;

    void put(uint32_t value, int size) {
        for (int i = size - 1; i >= 0; --i) {
            bits = bits << 1 | (value >> i & 1);
            if (++count < 8) continue;
            out.push_back(static_cast<uint8_t>(bits));
            if (out.back() == 0xFF) out.push_back(0);
            bits = 0, count = 0;
        }
    }
    void flush() {
        while (count) put(1, 1);
    }
};

}  // namespace

Bytes LosslessStream::encode() const {
    const auto byte = [](int value) { return static_cast<uint8_t>(value); };
    Bytes out = big_16(0xFFD8);
    const auto segment = [&](uint32_t marker, const Bytes &payload) {
        out = cat({out, big_16(0xFF00 | marker), big_16(static_cast<uint32_t>(payload.size()) + 2), payload});
    };
    Bytes frame = {byte(precision), byte(height >> 8), byte(height), byte(width >> 8), byte(width), byte(components)};
    Bytes scan = {byte(components)};
    for (int c = 0; c < components; ++c) {
        frame.insert(frame.end(), {byte(c + 1), 0x11, 0});
        scan.insert(scan.end(), {byte(c + 1), byte(c % 2 << 4)});
    }
    scan.insert(scan.end(), {byte(predictor), 0, byte(transform)});
    segment(0xC3, frame);
    // Tables 0 and 1 have the same codes in another order: the code of a size in table 1 is that of 16 less it.
    Bytes tables;
    for (int table = 0; table < 2; ++table) {
        tables.push_back(byte(table));
        for (int length = 1; length <= 16; ++length)
            tables.push_back(byte(long_codes ? (length < 16 ? 1 : 2) : length == 5 ? kSizes : 0));
        for (int size = 0; size < kSizes; ++size) tables.push_back(byte(table ? 16 - size : size));
    }
    segment(0xC4, tables);
    if (interval_rows) segment(0xDD, {byte(interval_rows * width >> 8), byte(interval_rows * width)});
    segment(0xDA, scan);

    BitWriter bits;
    const auto at = [&](int row, int column, int c) {
        return samples[static_cast<size_t>((row * width + column) * components + c)] >> transform;
    };
    int restarts = 0;
    for (int row = 0; row < height; ++row) {
        const bool first = row == 0 || (interval_rows && row % interval_rows == 0);
        if (first && row) {
            bits.flush();
            bits.out.insert(bits.out.end(), {0xFF, byte(0xD0 + restarts++ % 8)});
        }
        for (int column = 0; column < width; ++column) {
            for (int c = 0; c < components; ++c) {
                const int a = column ? at(row, column - 1, c) : 0, b = first ? 0 : at(row - 1, column, c);
                const int d = column && !first ? at(row - 1, column - 1, c) : 0;  // above a
                const int table_h1[8] = {0, a, b, d, a + b - d, a + ((b - d) >> 1), b + ((a - d) >> 1), (a + b) >> 1};
                const int guess = first    ? (column ? a : 1 << (precision - transform - 1))
                                  : column ? table_h1[predictor]
                                           : b;
                const int difference = static_cast<int16_t>(at(row, column, c) - guess);
                int size = 0;
                while (std::abs(difference) >> size) ++size;
                const int index = c % 2 ? 16 - size : size;
                // Of long codes: 0, 10, 110, ...; the last two have 16 bits.
                const uint32_t ones = index == 16 ? 0xFFFF : (2u << index) - 2;
                bits.put(long_codes ? ones : static_cast<uint32_t>(index), long_codes ? std::min(index + 1, 16) : 5);
                if (size && size < 16)
                    bits.put(static_cast<uint32_t>(difference < 0 ? difference - 1 : difference), size);
            }
        }
    }
    bits.flush();
    return cat({out, bits.out, big_16(0xFFD9)});
}

}  // namespace vorel::test
