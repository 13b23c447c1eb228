// Stored codes against linear samples worked out in doubles.
#include <cmath>
#include <random>

#include "dng/image/linearization.h"
#include "dng/support/plain_context.h"
#include "support/inputs.h"

#include <gtest/gtest.h>

namespace vorel::test {
namespace {

struct Levels {
    uint32_t rows = 1, columns = 1;
    std::vector<double> black;  // rows x columns
    double white = 65535;
    std::vector<double> rowDelta, columnDelta;
    std::vector<uint16_t> table;
};

// An IFD with the levels, and the stream that holds its arrays.
struct LevelsFile {
    LevelsFile(const Levels &levels, const DngRect &active, uint32_t bits) {
        ifd.bitsPerSample[0] = bits;
        ifd.blackRepeatRows = levels.rows, ifd.blackRepeatColumns = levels.columns;
        for (uint32_t i = 0; i < levels.rows * levels.columns; ++i) {
            ifd.blackLevel[i / levels.columns][i % levels.columns][0] = levels.black[i];
        }
        ifd.whiteLevel[0] = levels.white;
        ifd.activeArea = active;
        const auto put = [&](const void *data, size_t size) {
            const uint8_t *begin = static_cast<const uint8_t *>(data);
            bytes.insert(bytes.end(), begin, begin + size);
            return bytes.size() - size;
        };
        const auto put_deltas = [&](const std::vector<double> &deltas, uint64_t *offset, uint32_t *type,
                                    uint32_t *count) {
            *offset = put(deltas.data(), deltas.size() * sizeof(double));
            *type = 12, *count = static_cast<uint32_t>(deltas.size());
        };
        put_deltas(levels.rowDelta, &ifd.blackDeltaVOffset, &ifd.blackDeltaVType, &ifd.blackDeltaVCount);
        put_deltas(levels.columnDelta, &ifd.blackDeltaHOffset, &ifd.blackDeltaHType, &ifd.blackDeltaHCount);
        ifd.linearizationOffset = put(levels.table.data(), levels.table.size() * 2);
        ifd.linearizationType = 3, ifd.linearizationCount = static_cast<uint32_t>(levels.table.size());
    }
    void parse(PlainContext &context, VorelDngLinearizationInfo &info) const {
        VorelDngStream stream(bytes.data(), static_cast<uint32_t>(bytes.size()));
        info.parse(context, stream, ifd, ifd.activeArea, ifd.activeArea);
        info.postParse(context);
    }
    VorelDngIFD ifd;
    Bytes bytes;
};

double black_of(const Levels &levels, int32_t row, int32_t column) {
    double black = levels.black[static_cast<uint32_t>(row) % levels.rows * levels.columns +
                                static_cast<uint32_t>(column) % levels.columns];
    if (!levels.rowDelta.empty()) black += levels.rowDelta[static_cast<size_t>(row)];
    if (!levels.columnDelta.empty()) black += levels.columnDelta[static_cast<size_t>(column)];
    return black;
}

double max_black(const Levels &levels) {
    const auto most = [](const std::vector<double> &v) {
        return v.empty() ? 0 : *std::max_element(v.begin(), v.end());
    };
    return most(levels.black) + most(levels.rowDelta) + most(levels.columnDelta);
}

// In units of a word, before it is cut to one.
double linear(const Levels &levels, double code, int32_t row, int32_t column) {
    const double range = levels.white - max_black(levels);
    if (range <= 0) return 0;
    if (!levels.table.empty()) code = levels.table[std::min(static_cast<size_t>(code), levels.table.size() - 1)];
    return std::clamp((code - black_of(levels, row, column)) / range, 0.0, 1.0) * 65535;
}

const Levels kLevels[] = {
    {1, 1, {64}, 1023, {}, {}, {}},
    {2, 2, {60, 64, 66.5, 70}, 4095, {}, {}, {}},
    {3, 4, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 900, {}, {}, {}},
    {2, 2, {60, 64, 66, 70}, 4000, std::vector<double>(20, 1.25), {}, {}},
    {1, 1, {16}, 4000, {}, std::vector<double>(31, -2), {}},
    {1, 1, {10}, 250, {}, {}, {0, 10, 30, 70, 200, 250}},
    {1, 1, {1000}, 900, {}, {}, {}},
};

TEST(DngLinearize, EqualsDoubles) {
    std::mt19937 random(1);
    const DngRect active = {3, 2, 23, 33};
    for (const Levels &levels : kLevels) {
        for (const uint32_t bits : {8u, 12u, 16u}) {
            const LevelsFile setup(levels, active, bits);
            PlainContext context;
            VorelDngLinearizationInfo info;
            setup.parse(context, info);
            VorelDngImage src({0, 0, 25, 40}, 1, bits == 8 ? kPixelByte : kPixelShort);
            const auto code_at = [&](int32_t row, int32_t column) -> uint32_t {
                return bits == 8 ? *src.at<uint8_t>(row, column) : *src.at<uint16_t>(row, column);
            };
            each_sample(src, [&](int32_t row, int32_t column, uint32_t) {
                const uint32_t code = random() % (1u << bits);
                if (bits == 8)
                    *src.at<uint8_t>(row, column) = static_cast<uint8_t>(code);
                else
                    *src.at<uint16_t>(row, column) = static_cast<uint16_t>(code);
            });
            VorelDngImage words({0, 0, 20, 31}, 1, kPixelShort), floats({0, 0, 20, 31}, 1, kPixelFloat);
            ASSERT_TRUE(info.doLinearize(context, src, words) && info.doLinearize(context, src, floats));
            each_sample(words, [&](int32_t row, int32_t column, uint32_t) {
                const double exact = linear(levels, code_at(row + 3, column + 2), row, column);
                // The fixed-point path cuts where the other one rounds; its table and black level are rounded to 1/256.
                ASSERT_LE(*words.at<uint16_t>(row, column), exact + 1.0 / 128) << row << " " << column;
                ASSERT_GE(*words.at<uint16_t>(row, column), std::floor(exact - 1.0 / 128)) << row << " " << column;
                ASSERT_NEAR(*floats.at<float>(row, column), exact / 65535, 1e-7);
            });
        }
    }
}

// Every pair of levels gives the ends of the range at the ends.
TEST(DngLinearize, BlackIsZeroAndWhiteIsFull) {
    for (double white = 200; white < 65536; white = white * 1.09 + 1) {
        for (double black = 0; black < white; black = black * 1.31 + 3) {
            const Levels levels = {1, 1, {std::floor(black)}, std::floor(white), {}, {}, {}};
            const DngRect active = {0, 0, 1, 4};
            const LevelsFile setup(levels, active, 16);
            PlainContext context;
            VorelDngLinearizationInfo info;
            setup.parse(context, info);
            VorelDngImage src(active, 1, kPixelShort), dst(active, 1, kPixelShort);
            *src.at<uint16_t>(0, 0) = static_cast<uint16_t>(levels.black[0]);
            *src.at<uint16_t>(0, 1) = static_cast<uint16_t>(levels.white);
            *src.at<uint16_t>(0, 3) = 65535;
            info.doLinearize(context, src, dst);
            const uint16_t *out = dst.at<uint16_t>(0, 0);
            ASSERT_TRUE(out[0] == 0 && out[1] == 65535 && out[2] == 0 && out[3] == 65535) << black << " " << white;
        }
    }
}

}  // namespace
}  // namespace vorel::test
