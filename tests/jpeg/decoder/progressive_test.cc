// Progressive frames: what is left of cut ones, scripts that no encoder writes, loops of a caller's own.
#include <gtest/gtest.h>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/open_record.h"
#include "jpeg/decoder/surgery.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

constexpr int kWidth = 260, kHeight = 250;  // luma takes the fast path, subsampled chroma the plain one

PictureSpec spec_of(int sampling, unsigned restart) {
    return {.width = kWidth,
            .height = kHeight,
            .h = sampling,
            .v = sampling,
            .restart_interval = restart,
            .progressive = true,
            .noise = 60};
}

Decoded planes_of(const Bytes &jpeg, Kind kind = Kind::kMemory) {
    return decode(jpeg, {.width = kWidth, .height = kHeight, .kind = kind});
}

void expect_oracle(const Decoded &ours, const Bytes &jpeg, const std::string &what) {
    const auto coded = turbo_planes(jpeg);
    ASSERT_TRUE(coded) << what;
    EXPECT_EQ(ours.result, 1) << what;
    EXPECT_TRUE(ours.pixels == stored(upsampled(*coded, coded->colour), COLOR_YUV444, 0)) << what;
}

TEST(JpegProgressive, APrefixGivesWhatItsScansHold) {
    for (const int sampling : {1, 2}) {
        for (const unsigned restart : {0u, 7u}) {
            const Bytes jpeg = turbo_picture(spec_of(sampling, restart));
            const size_t second = scan_data(tail(jpeg, jpeg.size() - nth_scan(jpeg, 1))) + nth_scan(jpeg, 1);
            int compared = 0;
            for (size_t cut = scan_data(jpeg); cut < jpeg.size(); cut += 1 + jpeg.size() / 90) {
                const Bytes prefix = head(jpeg, cut);
                const std::string what = "cut at " + std::to_string(cut) + " restart " + std::to_string(restart);
                const Decoded ours = planes_of(prefix, cut % 2 ? Kind::kPath : Kind::kMemory);
                // One scan alone has not brought the tables that a frame is to have.
                EXPECT_EQ(ours.result, cut >= second) << what;
                // The oracle decodes one more MCU, of zeros, where the restart behind the end is due.
                const bool before_restart = jpeg[cut] == 0xFF && jpeg[cut + 1] != 0;
                if (!ours.result || before_restart || !turbo_planes(prefix)) continue;
                expect_oracle(ours, prefix, what);
                ++compared;
            }
            EXPECT_GT(compared, 60);
        }
    }
}

TEST(JpegProgressive, ScriptsThatNoEncoderWrites) {
    const Bytes jpeg = turbo_picture(spec_of(2, 0)), spaced = turbo_picture(spec_of(2, 3));
    const size_t scan2 = nth_scan(jpeg, 1, true), scan3 = nth_scan(jpeg, 2, true);
    const Bytes dri = {0xFF, 0xDD, 0, 4, 0, 3}, end = {0xFF, 0xD9};
    // An interval that begins with the third scan.
    const size_t spaced3 = nth_scan(spaced, 2, true);
    const Bytes mixed = cat({head(jpeg, scan3), dri, tail(spaced, spaced.size() - spaced3)});
    expect_oracle(planes_of(mixed), mixed, "restarts from the third scan on");
    // The 31st scan and what stands in front of it are left out: the second one, again and again, changes nothing.
    const Bytes again(jpeg.begin() + static_cast<ptrdiff_t>(scan2), jpeg.begin() + static_cast<ptrdiff_t>(scan3));
    Bytes thirty = head(jpeg, scan3);
    for (int i = 2; i < 30; ++i) thirty.insert(thirty.end(), again.begin(), again.end());
    const Bytes more = cat({thirty, dri, tail(spaced, spaced.size() - spaced3)});
    expect_oracle(planes_of(more), cat({thirty, end}), "more than 30 scans");
    // A scan that lacks its table ends the row, and only luma is shown.
    const Bytes lacking = without_segment(jpeg, scan2);
    const Decoded shown = planes_of(lacking), first = planes_of(cat({head(jpeg, scan3), end}));
    ASSERT_EQ(shown.result, 1);
    Bytes dc_only = stored(upsampled(*turbo_planes(cat({head(jpeg, scan2), end})), Colour::kYcc), COLOR_YUV444, 0);
    std::fill(dc_only.begin() + kWidth * kHeight, dc_only.end(), 128);
    EXPECT_TRUE(shown.pixels == dc_only);
    EXPECT_FALSE(first.pixels == dc_only);
}

TEST(JpegProgressive, ParametersThatNoScanHasAreRefused) {
    const Bytes jpeg = turbo_picture(spec_of(2, 0));
    const size_t parameters = nth_scan(jpeg, 1) + 7;  // Ss, Se, Ah and Al of a scan of one component
    const struct {
        uint8_t ss, se, a;
        int32_t result;
    } rows[] = {{1, 5, 0x02, 1}, {1, 63, 0x0D, 1}, {5, 5, 0x00, 1}, {5, 4, 0x00, 0}, {1, 64, 0x00, 0},
                {0, 5, 0x00, 0}, {1, 5, 0x20, 0},  {1, 5, 0x13, 0}, {1, 5, 0x0E, 0}, {1, 5, 0xFE, 0}};
    for (const auto &row : rows) {
        EXPECT_EQ(planes_of(changed(jpeg, parameters, {row.ss, row.se, row.a})).result, row.result)
            << int{row.ss} << ' ' << int{row.se} << ' ' << int{row.a};
    }
}

// A loop that switches between the scans, row of MCUs by row of MCUs, gives each block its coefficients.
TEST(JpegProgressive, LoopsMaySwitchBetweenScans) {
    PictureSpec spec = spec_of(1, 5);
    spec.colour = Colour::kGray;
    const Bytes jpeg = turbo_picture(spec);
    const CodedBlocks wanted = turbo_coefficients(jpeg)[0];
    for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStream}) {
        OpenRecord record(jpeg, COLOR_GRAY, kWidth, kHeight, kind);
        ASSERT_TRUE(record.get());
        std::vector<ScanInfo *> scans;
        int32_t status = 200;
        for (int32_t marker = 0xDA; marker == 0xDA; marker = BRIMJ_ParseNextMarker(record.get(), &status)) {
            ASSERT_EQ(BRIMJ_SetupScan(record.get()), 200);
            ASSERT_EQ(BRIMJ_SetupScanInfo(record.get(), &scans.emplace_back()), 1);
            if (scans.size() == 6) break;
        }
        ASSERT_EQ(scans.size(), 6u);
        std::vector<int16_t> row(static_cast<size_t>(wanted.across) * 64);
        for (int y = 0; y < wanted.down; ++y) {
            std::fill(row.begin(), row.end(), int16_t{0});
            for (ScanInfo *scan : scans) {
                BRIMJ_LoadScanInfo(record.get(), scan);
                for (int x = 0; x < wanted.across; ++x) {
                    int16_t *block = row.data() + x * 64;
                    const auto decode = record.scan()->sos.Ah ? BRIMJ_ProgDecodeMcuRefine : BRIMJ_ProgDecodeMcu;
                    ASSERT_EQ(decode(record.get(), &block), 1);
                }
                BRIMJ_SaveScanInfo(record.get(), scan);
            }
            EXPECT_TRUE(std::equal(row.begin(), row.end(), wanted.coefficients.begin() + y * wanted.across * 64)) << y;
        }
    }
}

TEST(JpegProgressive, RowStepsAndSnapshotNumbers) {
    PictureSpec spec = spec_of(2, 0);
    spec.scans = Scans::kOnePerComponent;
    const Bytes jpeg = turbo_picture(spec);
    OpenRecord record(jpeg, COLOR_YUV444, kWidth, kHeight);
    uint32_t done = 0;
    uint8_t **rows = reinterpret_cast<uint8_t **>(record.rows());
    EXPECT_EQ(BRIMJ_GetCurrentSnapshotNumber(record.get()), 0u);
    while (BRIMJ_ProgProcessData(record.get(), rows, &done, kHeight) == 100) {
    }
    EXPECT_TRUE(record.pixels() == planes_of(jpeg).pixels);
    // DC of Y, Cb, Cr; luma, Cr, Cb, luma twice; DC; Cr, Cb, luma.
    const uint32_t numbers[] = {0, 2, 3, 4, 6, 7, 8, 10, 12, 13, 14, 15, 17};
    for (uint32_t n = 0; n < 13; ++n) EXPECT_EQ(BRIMJ_GetSnapshotNumber(record.get(), n), numbers[n]) << n;
    EXPECT_EQ(BRIMJ_GetCurrentSnapshotNumber(record.get()), 17u);
    EXPECT_EQ(BRIMJ_LOGN(0), -1);
    EXPECT_EQ(BRIMJ_LOGN(1), 0);
    EXPECT_EQ(BRIMJ_LOGN(15), 3);
}

}  // namespace
}  // namespace vorel::test
