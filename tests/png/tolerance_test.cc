// What damaged and hostile files do; docs/tolerance.md names these tests.
#include <gtest/gtest.h>

#include <zlib.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <random>

#include "png/run.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

Bytes text_chunk() { return png_chunk("tEXt", text("Title") /* no separator: all keyword */); }

// Small files that meet most of what a decoder does.
std::vector<PngSpec> small_files() {
    std::vector<PngSpec> specs;
    for (const PngSpec &form : all_forms(9, 11)) {
        const bool wanted = (form.colour_type == 2 && form.depth == 8) || (form.colour_type == 6 && form.depth == 16) ||
                            (form.colour_type == 3 && form.depth == 4) || (form.colour_type == 0 && form.depth == 2);
        if (!wanted || (form.colour_type != 6 && form.interlaced == form.transparency)) continue;
        PngSpec spec = form;
        spec.idat_bytes = 61;
        if (spec.seed % 2)
            spec.extra = cat({png_chunk("gAMA", big_32(45455)), text_chunk(), png_chunk("voRl", big_32(7))});
        specs.push_back(spec);
    }
    return specs;
}

// Result and buffer are those of the steps, whatever the damage; another size than 9 x 11 only has to return.
void expect_as_by_steps(const Bytes &file, const std::string &what) {
    const Decoded ours = decode_whole(file, {9, 11, 1, 7});
    const std::optional<Decoded> steps = decode_by_steps(file, 9, 11);
    if (steps) EXPECT_TRUE(ours == *steps) << what << ": " << ours.result << " and " << steps->result;
}

// Regions of a file that decodes are cuts of it, and those of any other return.
void expect_regions_follow(const Bytes &file, const std::string &what) {
    const StraightPng image = straight_png(file);
    Regions regions(file);
    if (!regions) {
        if (decode_whole(file, {9, 11, 1, 7}).result && image.good) ADD_FAILURE() << what;
        return;
    }
    const int width = regions.handle()->width, height = regions.handle()->height;
    if (width > 2000 || height > 2000) return;
    for (const RegionRequest &request : {RegionRequest{0, 0, width, height, 1}, {width / 2, height / 2, 1, 1, 1}}) {
        const Decoded ours = regions.decode(request);
        if (image.good && image.width == width) {
            EXPECT_TRUE(ours == model_region(image, request, 7)) << what;
        }
    }
}

// Check values are computed over all that a chunk claims, a second for 2^31 bytes: one file of those is enough, see
// SmallFilesThatAskForMuch.
bool claims_megabytes(const Bytes &file, size_t at, int value) {
    for (const ChunkAt &chunk : chunks_of(file))
        if ((at == chunk.offset && value < 0x80) || at == chunk.offset + 1) return value != 0;
    return false;
}

TEST(PngTolerance, EveryPrefixReturns) {
    const std::clock_t start = std::clock();
    for (const PngSpec &spec : small_files()) {
        Subject subject = png_subject(spec, {9, 11, 1, 7}, {1, 2, 5, 7, 1});
        subject.on_prefix = [&](const Bytes &cut, const Seen &seen) {
            // Nothing behind the last row is looked at.
            EXPECT_EQ(seen.result == 1, cut.size() + 12 >= subject.file.size());
            decode_whole(cut, {4, 5, 2, 8});
        };
        expect_prefixes_conform(subject);
    }
    EXPECT_LT(std::clock() - start, 60 * CLOCKS_PER_SEC);
}

// Puts right the check values of all chunks.
Bytes with_fitting_crcs(Bytes file) {
    for (const ChunkAt &chunk : chunks_of(file)) {
        const auto crc = crc32(0, &file[chunk.offset + 4], static_cast<uInt>(chunk.length + 4));
        file = changed(file, chunk.offset + 8 + chunk.length, big_32(static_cast<uint32_t>(crc)));
    }
    return file;
}

size_t first_idat(const Bytes &file) {
    for (const ChunkAt &chunk : chunks_of(file))
        if (chunk.name == "IDAT") return chunk.offset;
    return 0;
}

// Each byte set to these values or with these bits turned over, which does what it does to the steps.
void expect_changes_as_by_steps(PngSpec spec, bool fitting, std::initializer_list<int> values, int turned) {
    const Bytes file = make_png(spec);
    for (size_t at = fitting ? 8 : 0; at < file.size() - (fitting ? 16 : 0); ++at) {
        std::vector<int> all(values);
        all.push_back(file[at] ^ turned);
        for (const int value : all) {
            if (claims_megabytes(file, at, value)) continue;
            Bytes other = changed(file, at, {static_cast<uint8_t>(value)});
            if (fitting) other = with_fitting_crcs(other);
            const std::string what = spec.name() + " byte " + std::to_string(at) + " = " + std::to_string(value);
            expect_as_by_steps(other, what);
            expect_regions_follow(other, what);
        }
    }
}

TEST(PngTolerance, EveryChangedByteDoesWhatTheStepsDo) {
    for (const PngSpec &spec : small_files()) expect_changes_as_by_steps(spec, false, {0, 0x80, 0xFE}, 1);
}

// With check values that fit, so that the damage reaches zlib and the filters.
TEST(PngTolerance, DamageThatOnlyZlibSees) {
    for (PngSpec spec : small_files()) {
        spec.idat_bytes = 10000;
        expect_changes_as_by_steps(spec, true, {0}, 0x10);
    }
}

TEST(PngTolerance, AWrongCheckValueOfImageDataStopsDecodesAndNotRegions) {
    const Bytes file = make_png({.idat_bytes = 400});
    const StraightPng image = straight_png(file);
    Bytes wrong = file;
    wrong[first_idat(file) + 8 + 400] ^= 1;
    const Decoded ours = decode_whole(wrong, {37, 29, 1, 7});
    EXPECT_EQ(ours.result, 0);
    EXPECT_EQ(head(ours.pixels, 37 * 4), head(image.rgba, 37 * 4));
    EXPECT_EQ(tail(ours.pixels, 37 * 4), Bytes(37 * 4, kFill));
    Regions regions(wrong);
    ASSERT_TRUE(regions);
    EXPECT_TRUE(regions.decode({0, 0, 37, 29, 1}) == model_region(image, {0, 0, 37, 29, 1}, 7));
}

// The file with other image data.
Bytes with_image_data(const Bytes &file, const Bytes &data, size_t idat_bytes) {
    Bytes out = head(file, first_idat(file));
    for (size_t at = 0; at < data.size(); at += idat_bytes) {
        const size_t end = std::min(data.size(), at + idat_bytes);
        out = cat({out, png_chunk("IDAT", Bytes(&data[at], &data[0] + end))});
    }
    return cat({out, png_chunk("IEND", {})});
}

Bytes image_data(const Bytes &file) {
    Bytes data;
    for (const ChunkAt &chunk : chunks_of(file))
        if (chunk.name == "IDAT")
            data = cat({data, Bytes(&file[chunk.offset + 8], &file[chunk.offset + 8] + chunk.length)});
    return data;
}

// Behind the last row whole decodes read no more than shows whether there are more bytes; an index does the same.
TEST(PngTolerance, AnIndexEndsWhereAWholeDecodeDoes) {
    int whole_ones = 0, damaged_ones = 0;
    for (unsigned seed = 1; seed <= 12; ++seed) {
        const Bytes file = make_png({.width = 4, .height = 5, .colour_type = 0, .seed = seed, .smooth = seed % 2 == 0});
        const Bytes data = image_data(file);
        for (size_t idat_bytes = 1; idat_bytes <= 3; ++idat_bytes) {
            for (size_t missing = 0; missing <= 4; ++missing) {
                const Bytes cut = with_image_data(file, head(data, data.size() - missing), idat_bytes);
                const Decoded whole = decode_whole(cut, {4, 5, 1, 7});
                Regions regions(cut);
                EXPECT_EQ(static_cast<bool>(regions), whole.result == 1) << seed << " " << idat_bytes << " " << missing;
                if (!regions || !whole.result) continue;
                whole_ones += missing != 0;
                EXPECT_EQ(regions.decode({0, 0, 4, 5, 1}).pixels, whole.pixels);
            }
            const Bytes damaged = with_image_data(file, data, idat_bytes);
            for (const ChunkAt &chunk : chunks_of(damaged)) {
                if (chunk.name != "IDAT") continue;
                const Bytes other = changed(damaged, chunk.offset + 4, {'X'});
                const bool whole = decode_whole(other, {4, 5, 1, 7}).result;
                damaged_ones += whole;
                if (whole) EXPECT_TRUE(Regions(other)) << seed;
            }
        }
    }
    EXPECT_GT(whole_ones, 10);
    EXPECT_GT(damaged_ones, 2);
}

// What libpng has to say goes to the hook.
TEST(PngTolerance, MessagesAreLoggedAndNotPrinted) {
    Bytes broken = make_png({});
    broken[first_idat(broken) + 9] ^= 0x40;
    LogCapture log;
    testing::internal::CaptureStderr();
    EXPECT_EQ(decode_whole(broken, {37, 29, 1, 7}).result, 0);
    const auto failures = log.take();
    EXPECT_EQ(decode_whole(make_png({.extra = png_chunk("gAMA", {1, 2})}), {37, 29, 1, 7}).result, 1);
    const auto warnings = log.take();
    Regions regions(broken);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_FALSE(failures.empty());
    EXPECT_EQ(failures.back().tag, "VPNG");
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_NE(warnings[0].text.find("gAMA"), std::string::npos) << warnings[0].text;
}

// libpng takes a tRNS chunk back when a palette follows it, which RGB pictures may have for their viewers.
TEST(PngTolerance, ATransparentColourBeforeAPaletteIsNone) {
    PngSpec spec;
    const Decoded plain = decode_whole(make_png(spec), {37, 29, 1, 7});
    const uint8_t *p = plain.pixels.data();
    const Bytes key = png_chunk("tRNS", {0, p[0], 0, p[1], 0, p[2]}), palette = png_chunk("PLTE", {1, 2, 3});
    for (const bool first : {true, false}) {
        spec.extra = first ? cat({key, palette}) : cat({palette, key});
        const Bytes file = make_png(spec);
        const Decoded whole = decode_whole(file, {37, 29, 1, 7});
        EXPECT_EQ(whole == plain, first);
        EXPECT_EQ(Regions(file).decode({0, 0, 37, 29, 1}).pixels, whole.pixels);
    }
}

// Stored blocks, so that the place of the damage is known: the second block, which is broken, begins in the last row.
Bytes damaged_in_row(int height, int row, int shown) {
    const int row_bytes = 1 + 8;
    Bytes stream = {0x78, 0x01};
    Bytes raw;
    for (int y = 0; y < height; ++y) {
        raw.push_back(0);
        for (int x = 0; x < 8; ++x) raw.push_back(static_cast<uint8_t>(10 * y + x + 1));
    }
    const uint32_t count = static_cast<uint32_t>(row * row_bytes + 1 + shown);
    stream = cat({stream,
                  {0, static_cast<uint8_t>(count & 255), static_cast<uint8_t>(count >> 8),
                   static_cast<uint8_t>(~count & 255), static_cast<uint8_t>((~count >> 8) & 255)},
                  head(raw, count),
                  {0x07, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}});  // block type 3 is none
    return with_image_data(make_png({.width = 8, .height = height, .colour_type = 0}), stream, stream.size());
}

TEST(PngTolerance, DamageInTheLastRowIsZerosInRegionsOnly) {
    const Bytes last = damaged_in_row(6, 5, 3), before = damaged_in_row(6, 4, 3);
    EXPECT_EQ(decode_whole(last, {8, 6, 1, 7}).result, 0);
    EXPECT_FALSE(Regions(before));
    Regions regions(last);
    ASSERT_TRUE(regions);
    for (int round = 0; round < 2; ++round) {
        const Decoded ours = regions.decode({0, 4, 8, 2, 1});
        ASSERT_EQ(ours.result, 1);
        for (int x = 0; x < 8; ++x) {
            EXPECT_EQ(ours.pixels[static_cast<size_t>(x) * 4], 10 * 4 + x + 1);
            EXPECT_EQ(ours.pixels[static_cast<size_t>(x + 8) * 4], x < 3 ? 10 * 5 + x + 1 : 0);
        }
    }
}

// Nothing behind the last row is looked at, and chunks that libpng can do without are passed over.
TEST(PngTolerance, HarmlessOdditiesChangeNothing) {
    const Bytes file = make_png({});
    const Decoded whole = decode_whole(file, {37, 29, 1, 7});
    const Bytes no_end = head(file, file.size() - 12);
    const auto with = [](const Bytes &chunk) { return make_png({.extra = chunk}); };
    for (const Bytes &odd :
         {no_end, cat({file, Bytes(500, 3)}), cat({no_end, png_chunk("IDAT", Bytes(30, 1))}), with(text_chunk()),
          with(png_chunk("gAMA", {1, 2})), with(png_chunk("voRl", Bytes(5000, 9))),
          with(cat({png_chunk("IDAT", {}), png_chunk("IDAT", {})}))}) {
        EXPECT_TRUE(decode_whole(odd, {37, 29, 1, 7}) == whole);
        Regions regions(odd);
        ASSERT_TRUE(regions);
        EXPECT_EQ(regions.decode({0, 0, 37, 29, 1}).pixels, whole.pixels);
    }
}

// A chunk of 1000 compressed texts, each of which inflates to 8 MB, and sizes that no data stands behind.
TEST(PngTolerance, SmallFilesThatAskForMuch) {
    Bytes inflated(7'900'000, 'a'), packed(100'000);
    uLongf size = static_cast<uLongf>(packed.size());
    ASSERT_EQ(compress2(packed.data(), &size, inflated.data(), static_cast<uLong>(inflated.size()), 9), Z_OK);
    packed.resize(size);
    const Bytes bomb = png_chunk("zTXt", cat({{'k', 0, 0}, packed}));
    PngSpec spec;
    for (int i = 0; i < 40; ++i) spec.extra = cat({spec.extra, bomb});
    const Bytes texts = make_png(spec);
    const Bytes plain = make_png({}), side = big_32(1'000'000);
    const Bytes wide = with_fitting_crcs(changed(plain, 16, cat({side, side})));
    const Bytes long_chunk = changed(plain, first_idat(plain), {0x7F});
    CountingAllocator allocator;
    const Decoded out = decode_whole(texts, {37, 29, 1, 7});
    EXPECT_LT(allocator.peak_bytes(), size_t{140} << 20);
    EXPECT_EQ(out.result, 1);
    allocator.reset_peak();
    EXPECT_EQ(decode_whole(wide, {37, 29, 1, 7}).result, 0);
    EXPECT_FALSE(Regions(wide));
    EXPECT_EQ(decode_whole(long_chunk, {37, 29, 1, 7}).result, 0);
    EXPECT_FALSE(Regions(long_chunk, 7, true));
    EXPECT_LT(allocator.peak_bytes(), size_t{40} << 20);
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

// Rows of a reader that is not the library's own come from libpng alone; those of memory do where the data are odd.
void read_by_libpng(png_structp png, png_bytep to, size_t count) { vpng_read_fn(png, to, count); }

struct SaidOfWhole {
    Decoded decoded;
    std::vector<std::string> lines;  // to the log
    bool operator==(const SaidOfWhole &) const = default;
};
SaidOfWhole decode_with(const Bytes &file, vpng_read_callback read, const WholeRequest &request) {
    LogCapture log;
    GuardBuffer source(file), out(static_cast<size_t>(request.out_width * request.out_height) * 4, kFill);
    SaidOfWhole said;
    said.decoded.result = decodeVPNG(source.data(), static_cast<int32_t>(file.size()), read, out.data(),
                                     request.out_width, request.out_height, request.sample_size, request.format);
    said.decoded.pixels = out.bytes();
    for (const LogLine &line : log.take()) said.lines.push_back(line.text);
    return said;
}

TEST(PngTolerance, OwnRowsAndLibpngsAgreeOverDamage) {
    std::mt19937 random(5);
    for (PngSpec spec : {PngSpec{.width = 70, .height = 60, .colour_type = 6},
                         {.width = 70, .height = 60, .colour_type = 3, .depth = 4, .transparency = true},
                         {.width = 70, .height = 60, .colour_type = 2, .depth = 16}}) {
        spec.idat_bytes = 300;
        spec.smooth = true;
        spec.noise = 2;
        const Bytes file = make_png(spec);
        const WholeRequest requests[] = {
            {70, 60, 1, 7}, {70, 60, 1, 8}, {35, 30, 2, 7}, {33, 21, 0, 7}, {70, 200, 0, 7}};
        const auto expect_same = [&](const Bytes &bytes, const std::string &what) {
            const WholeRequest &request = requests[random() % std::size(requests)];
            EXPECT_TRUE(decode_with(bytes, vpng_read_fn, request) == decode_with(bytes, read_by_libpng, request))
                << what;
        };
        for (int i = 0; i < 20; ++i) expect_same(file, spec.name());
        for (size_t size = 33; size < file.size(); size += 5)
            expect_same(head(file, size), "cut at " + std::to_string(size));
        for (int i = 0; i < 1500 && !HasFailure(); ++i) {
            // Lengths of chunks stay: what a chunk of gigabytes costs is measured elsewhere.
            const size_t at = 33 + random() % (file.size() - 33);
            const auto near = [&](const ChunkAt &chunk) { return at - chunk.offset < 8; };
            const std::vector<ChunkAt> chunks = chunks_of(file);
            if (std::any_of(chunks.begin(), chunks.end(), near)) continue;
            expect_same(changed(file, at, {static_cast<uint8_t>(random())}), "byte " + std::to_string(at));
        }
    }
}

// The file with one IDAT chunk of other data, and its header of another height.
Bytes with_stream(const Bytes &file, const std::function<void(Bytes &)> &change, int height) {
    const std::vector<ChunkAt> chunks = chunks_of(file);
    const auto at =
        std::find_if(chunks.begin(), chunks.end(), [](const ChunkAt &chunk) { return chunk.name == "IDAT"; });
    const auto data_at = file.begin() + static_cast<ptrdiff_t>(at->offset) + 8;
    Bytes header(file.begin() + 16, file.begin() + 29), data(data_at, data_at + static_cast<ptrdiff_t>(at->length));
    header[7] = static_cast<uint8_t>(height);
    change(data);
    return cat({head(file, 8), png_chunk("IHDR", header), png_chunk("IDAT", data), png_chunk("IEND", {})});
}

TEST(PngTolerance, OwnRowsEndWhereLibpngsDo) {
    const auto expect_same = [](const Bytes &file, const WholeRequest &request, int result) {
        const SaidOfWhole libpngs = decode_with(file, read_by_libpng, request);
        EXPECT_EQ(libpngs.decoded.result, result);
        EXPECT_TRUE(decode_with(file, vpng_read_fn, request) == libpngs);
    };
    // Matches of a row's distance in a stream whose header allows 256 bytes.
    const Bytes alike = make_png({.width = 300, .height = 60, .idat_bytes = 1 << 20, .smooth = true});
    expect_same(with_stream(
                    alike, [](Bytes &data) { data[0] = 0x08, data[1] = 0x1D; }, 60),
                {300, 60, 1, 7}, 0);
    // 80 of 100 rows, which end where the rows that are inflated at once do, and a check value that is wrong.
    const Bytes gray = make_png({.width = 1023, .height = 80, .colour_type = 0, .idat_bytes = 1 << 20});
    expect_same(with_stream(
                    gray, [](Bytes &data) { data.back() ^= 1; }, 100),
                {1023, 100, 1, 7}, 0);
    // Stored blocks.
    expect_same(make_png({.width = 300, .height = 60, .idat_bytes = 1 << 20, .level = 0}), {300, 60, 1, 7}, 1);
}

}  // namespace
}  // namespace vorel::test
