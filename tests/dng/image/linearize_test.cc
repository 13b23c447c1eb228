// Stored codes against linear samples worked out in doubles.
#include <cmath>
#include <random>

#include "dng/image/linearization.h"
#include "dng/parse/dng_file.h"
#include "dng/support/dng_builder.h"
#include "dng/support/plain_context.h"

#include <gtest/gtest.h>

namespace vorel::test {
namespace {

struct Levels {
    uint32_t rows = 1, columns = 1;
    std::vector<double> black;  // rows x columns
    double white = 65535;
    std::vector<double> rowDelta, columnDelta, table;
};

// A file with the levels, parsed.
struct LevelsFile {
    LevelsFile(const Levels &levels, const DngRect &active, uint32_t bits)
        : bytes(made(levels, active, bits)), file(bytes.data(), static_cast<uint32_t>(bytes.size())) {
        file.parse(), file.postParse();
        info.parse(context, file.stream, *file.mainIFD(), active, active);
        info.postParse(context);
    }
    static Bytes made(const Levels &levels, const DngRect &active, uint32_t bits) {
        DngBuilder builder;
        builder.first = dng_mosaic(40, 25, bits);
        const std::vector<double> area = {1.0 * active.top, 1.0 * active.left, 1.0 * active.bottom, 1.0 * active.right};
        for (const DngTag &tag :
             {dng_longs(50829, area), dng_shorts(50713, {1.0 * levels.rows, 1.0 * levels.columns}),
              dng_rationals(50714, levels.black, 2), dng_longs(50717, {levels.white}),
              dng_rationals(50716, levels.rowDelta, 4, kDngSRational),
              dng_rationals(50715, levels.columnDelta, 4, kDngSRational), dng_shorts(50712, levels.table)})
            if (!tag.numbers.empty()) builder.first.tags.push_back(tag);
        return builder.build();
    }

    Bytes bytes;
    DngFile file;
    PlainContext context;
    VorelDngLinearizationInfo info;
};

double black_of(const Levels &levels, int32_t row, int32_t column) {
    double black = levels.black[static_cast<uint32_t>(row) % levels.rows * levels.columns +
                                static_cast<uint32_t>(column) % levels.columns];
    if (!levels.rowDelta.empty()) black += levels.rowDelta[static_cast<size_t>(row)];
    if (!levels.columnDelta.empty()) black += levels.columnDelta[static_cast<size_t>(column)];
    return black;
}

// In units of a word, before it is cut to one.
double linear(const Levels &levels, double code, int32_t row, int32_t column) {
    double range = levels.white;
    for (const std::vector<double> *of : {&levels.black, &levels.rowDelta, &levels.columnDelta})
        range -= of->empty() ? 0 : *std::max_element(of->begin(), of->end());
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
            LevelsFile file(levels, active, bits);
            VorelDngImage src({0, 0, 25, 40}, 1, bits == 8 ? kPixelByte : kPixelShort);
            set_samples(src, [&](auto...) { return random() % (1u << bits) / range_of(src); });
            VorelDngImage words({0, 0, 20, 31}, 1, kPixelShort), floats({0, 0, 20, 31}, 1, kPixelFloat);
            ASSERT_TRUE(file.info.doLinearize(file.context, src, words) &&
                        file.info.doLinearize(file.context, src, floats));
            each_sample(words, [&](int32_t row, int32_t column, uint32_t) {
                const double exact = linear(levels, sample_at(src, row + 3, column + 2), row, column);
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
    for (double white = 200; white < 65536; white = white * 1.2 + 1) {
        for (double black = 0; black < white; black = black * 4.3 + 3) {
            const Levels levels = {1, 1, {std::floor(black)}, std::floor(white), {}, {}, {}};
            const DngRect active = {0, 0, 1, 4};
            LevelsFile file(levels, active, 16);
            VorelDngImage src(active, 1, kPixelShort), dst(active, 1, kPixelShort);
            *src.at<uint16_t>(0, 0) = static_cast<uint16_t>(levels.black[0]);
            *src.at<uint16_t>(0, 1) = static_cast<uint16_t>(levels.white);
            *src.at<uint16_t>(0, 3) = 65535;
            file.info.doLinearize(file.context, src, dst);
            const uint16_t *out = dst.at<uint16_t>(0, 0);
            ASSERT_TRUE(out[0] == 0 && out[1] == 65535 && out[2] == 0 && out[3] == 65535) << black << " " << white;
        }
    }
}

}  // namespace
}  // namespace vorel::test
