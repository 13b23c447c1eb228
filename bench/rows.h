// The rows of the decode table: what a picture is like, and what it is decoded to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorel_bench {

enum class Sampling : uint8_t { k420, k422, k444, kGray };
enum class Format : uint8_t { kRgba, kRgb565, kYuv420 };
enum class Source : uint8_t { kMemory, kFile, kStream };

// How the size is chosen: 1/1 to 1/8, or what fits a telephone's screen.
enum class Scale : uint8_t { kFull, kHalf, kQuarter, kEighth, kFit };
constexpr int kScreenWidth = 1080, kScreenHeight = 2400;

// The middle of the table is a 12 megapixel camera picture in memory; each row says where it differs.
struct Row {
    Sampling sampling = Sampling::k420;
    int megapixels = 12;
    Scale scale = Scale::kFull;
    Format format = Format::kRgba;
    int quality = 90;
    bool restarts = false;  // a restart marker after each row of MCUs
    Source source = Source::kMemory;
    bool progressive = false;
};

std::vector<Row> all_rows();

// "decode/420/12MP/full", and then what is unlike the middle: "decode/420/12MP/1-8/rgb565".
std::string name_of(const Row &row);

inline bool full_size(const Row &row) { return row.scale == Scale::kFull; }
inline int denominator(Scale scale) { return scale == Scale::kFit ? 1 : 1 << static_cast<int>(scale); }

}  // namespace vorel_bench
