// The rows of the decode table: each axis in full at the middle of the others, and the crossings that are telling.
#include "rows.h"

namespace vorel_bench {
namespace {

constexpr Scale kScales[] = {Scale::kFull, Scale::kHalf, Scale::kQuarter, Scale::kEighth, Scale::kFit};
constexpr Sampling kSamplings[] = {Sampling::k420, Sampling::k422, Sampling::k444, Sampling::kGray};

const char *name_of(Sampling sampling) {
    constexpr const char *kNames[] = {"420", "422", "444", "gray"};
    return kNames[static_cast<int>(sampling)];
}

const char *name_of(Scale scale) {
    constexpr const char *kNames[] = {"full", "1-2", "1-4", "1-8", "fit"};
    return kNames[static_cast<int>(scale)];
}

}  // namespace

std::vector<Row> all_rows() {
    std::vector<Row> rows;
    // Pictures of one size stand together: a synthetic picture is made once.
    for (const Sampling sampling : kSamplings)
        for (const Scale scale : kScales) rows.push_back({.sampling = sampling, .scale = scale});
    for (const Scale scale : kScales) {
        rows.push_back({.scale = scale, .format = Format::kRgb565});
        rows.push_back({.scale = scale, .format = Format::kYuv420});
    }
    for (const Sampling sampling : {Sampling::k422, Sampling::k444, Sampling::kGray})
        rows.push_back({.sampling = sampling, .format = Format::kRgb565});
    rows.push_back({.sampling = Sampling::kGray, .format = Format::kYuv420});
    for (const int quality : {75, 97})
        for (const Scale scale : {Scale::kFull, Scale::kHalf, Scale::kQuarter, Scale::kEighth})
            rows.push_back({.scale = scale, .quality = quality});
    for (const Scale scale : kScales) rows.push_back({.scale = scale, .restarts = true});
    for (const Sampling sampling : {Sampling::k422, Sampling::k444, Sampling::kGray})
        rows.push_back({.sampling = sampling, .restarts = true});
    for (const Source source : {Source::kFile, Source::kStream})
        for (const Scale scale : {Scale::kFull, Scale::kEighth}) rows.push_back({.scale = scale, .source = source});
    for (const int megapixels : {1, 40}) {
        for (const Scale scale : kScales) rows.push_back({.megapixels = megapixels, .scale = scale});
        for (const Sampling sampling : {Sampling::k422, Sampling::k444, Sampling::kGray})
            rows.push_back({.sampling = sampling, .megapixels = megapixels});
        rows.push_back({.megapixels = megapixels, .restarts = true});
        for (const Source source : {Source::kFile, Source::kStream})
            rows.push_back({.megapixels = megapixels, .source = source});
    }
    for (const int megapixels : {12, 40}) rows.push_back({.megapixels = megapixels, .progressive = true});
    rows.push_back({.sampling = Sampling::k444, .progressive = true});
    rows.push_back({.source = Source::kFile, .progressive = true});
    return rows;
}

std::string name_of(const Row &row) {
    std::string name = std::string("decode/") + name_of(row.sampling) + "/" + std::to_string(row.megapixels) + "MP/" +
                       name_of(row.scale);
    if (row.format == Format::kRgb565) name += "/rgb565";
    if (row.format == Format::kYuv420) name += "/yuv420";
    if (row.quality != 90) name += "/q" + std::to_string(row.quality);
    if (row.restarts) name += "/restarts";
    if (row.progressive) name += "/progressive";
    if (row.source == Source::kFile) name += "/file";
    if (row.source == Source::kStream) name += "/stream";
    return name;
}

}  // namespace vorel_bench
