// The Exif reader: its directories in both byte orders, the search for its segment, and pictures turned by it.
#include <gtest/gtest.h>

#include "jpeg/decoder/decode_support.h"
#include "jpeg/decoder/surgery.h"
#include "oracle/turbo.h"
#include "support/conformance.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

struct Entry {
    uint32_t tag, type, count;
    Bytes data;  // 4 bytes stand in the entry, more behind the directory
};

// Writes TIFF structures in one byte order.
struct TiffWriter {
    bool little;

    Bytes word(uint32_t value) const { return little ? little_16(value) : big_16(value); }
    Bytes number(uint32_t value) const { return little ? little_32(value) : big_32(value); }
    Entry one_short(uint32_t tag, uint32_t value) const { return {tag, 3, 1, cat({word(value), {0, 0}})}; }
    Entry one_long(uint32_t tag, uint32_t value) const { return {tag, 4, 1, number(value)}; }
    Entry rationals(uint32_t tag, uint32_t type, std::initializer_list<uint32_t> values) const {
        Entry out = {tag, type, static_cast<uint32_t>(values.size() / 2), {}};
        for (const uint32_t value : values) out.data = cat({out.data, number(value)});
        return out;
    }
    Entry ascii(uint32_t tag, const char *value, uint32_t type = 2) const {
        const Bytes data = text(value);
        return {tag, type, static_cast<uint32_t>(data.size()), data};
    }
    Bytes header(uint32_t first = 8) const { return cat({text(little ? "II" : "MM"), word(42), number(first)}); }
    // A directory that stands at `offset`, its data behind it.
    Bytes directory(uint32_t offset, const std::vector<Entry> &entries, uint32_t next = 0) const {
        Bytes out = word(static_cast<uint32_t>(entries.size())), data;
        const uint32_t behind = offset + 2 + 12 * static_cast<uint32_t>(entries.size()) + 4;
        for (const Entry &entry : entries) {
            const bool inside = entry.data.size() <= 4;
            const Bytes value = inside ? entry.data : number(behind + static_cast<uint32_t>(data.size()));
            out = cat({out, word(entry.tag), word(entry.type), number(entry.count), value, Bytes(4 - value.size(), 0)});
            if (!inside) data = cat({data, entry.data});
        }
        return cat({out, number(next), data});
    }
    Bytes block(const std::vector<Entry> &entries) const { return cat({header(), directory(8, entries)}); }
};

Bytes app1(const Bytes &payload) {
    return cat({{0xFF, 0xE1}, big_16(static_cast<uint32_t>(payload.size() + 2)), payload});
}
Bytes exif_segment(const Bytes &tiff) { return app1(cat({text("Exif"), {0, 0}, tiff})); }
Bytes with_exif(const Bytes &jpeg, const Bytes &tiff) { return with_inserted(jpeg, 2, exif_segment(tiff)); }

// The orientation of a block, 0 without one, -1 for a block that is refused.
int64_t orientation_of(const Bytes &tiff) {
    GuardBuffer segment(cat({exif_segment(tiff), {0}}));
    ExifInfo *info = BRIMJ_CreatExifInfoUseExifBuffer(segment.data(), static_cast<int32_t>(segment.size()));
    const int64_t orientation = info ? int64_t{info->orientation} : -1;
    if (info) EXPECT_EQ(info->littleEndian, tiff[0] == 'I');
    if (info) BRIMJ_DestroyExifInfo(info);
    return orientation;
}

TEST(JpegExif, OrientationIsReadFromOneShortAlone) {
    for (const TiffWriter to : {TiffWriter{true}, TiffWriter{false}}) {
        const Entry good = to.one_short(274, 6);
        EXPECT_EQ(orientation_of(to.block({good})), 6);
        EXPECT_EQ(orientation_of(to.block({to.one_long(274, 6)})), 0);
        EXPECT_EQ(orientation_of(to.block({{274, 3, 2, cat({to.word(6), to.word(6)})}})), 0);
        EXPECT_EQ(orientation_of(to.block({{530, 3, 2, cat({to.word(2), to.word(1)})}, good})), 6)
            << "two SHORTs first";
        EXPECT_EQ(orientation_of(to.block({{700, 5, 1, to.number(9999)}, {1, 13, 1, {}}, good})), 6);
        const Bytes block = to.block({good});
        const auto size = static_cast<uint32_t>(block.size());
        EXPECT_EQ(orientation_of(cat({to.header(size), tail(block, size - 8)})), -1) << "a directory at the end";
        EXPECT_EQ(orientation_of(head(block, size - 1)), 0) << "a directory without its link";
        EXPECT_EQ(orientation_of(cat({to.header(), to.directory(8, {good}, 8)})), 6)
            << "a directory that follows itself";
        EXPECT_EQ(orientation_of(changed(block, 2, {43})), -1);
        EXPECT_EQ(orientation_of(changed(block, 0, {0x58})), -1);
    }
}

TEST(JpegExif, FieldsStandInTheEntryOrInsideTheBlock) {
    const TiffWriter to = {false};
    constexpr uint32_t kLength = 64, kEntry = 20;
    struct Row {
        uint32_t type, count, value;
        int32_t result = 0;
        uint32_t bytes = 0, gives = 0;
    };
    const auto read = [](uint32_t type, uint32_t count, uint32_t value, uint32_t bytes, uint32_t gives) {
        return Row{type, count, value, 1, bytes, gives};
    };
    const auto refused = [](uint32_t type, uint32_t count, uint32_t value) { return Row{type, count, value}; };
    const Row rows[] = {read(1, 4, 0, 4, kEntry + 8),
                        read(2, 5, 59, 5, 59),
                        refused(7, 5, 60),
                        read(6, 0, 0, 0, kEntry + 8),
                        read(3, 1, 0x70000, 2, 7),
                        refused(8, 2, 0x70000),
                        read(3, 3, 58, 6, 58),
                        refused(3, 3, 59),
                        read(4, 1, 0x12345, 4, 0x12345),
                        read(9, 2, 56, 8, 56),
                        refused(11, 2, 57),
                        read(5, 1, 56, 8, 56),
                        refused(10, 1, 57),
                        refused(12, 0x20000001, 8),
                        refused(0, 1, 0),
                        refused(13, 1, 0)};
    for (const Row &row : rows) {
        const Bytes entry = cat({to.word(274), to.word(row.type), to.number(row.count), to.number(row.value)});
        GuardBuffer block(cat({Bytes(kEntry, 0), entry, Bytes(kLength - kEntry - 12, 0)}));
        ExifField field = {};
        EXPECT_EQ(BRIMJ_ReadExifField(block.data(), kEntry, kLength, 0, &field), row.result)
            << row.type << " " << row.value;
        if (row.result)
            EXPECT_EQ(std::pair(field.byteLength, field.value), std::pair(row.bytes, row.gives)) << row.type;
        EXPECT_EQ(BRIMJ_ReadExifField(block.data(), kLength - 11, kLength, 0, &field), 0);
    }
}

constexpr uint32_t kExifAt = 8, kGpsAt = 400;

// A block whose first directory is an Exif one, with GPS attributes at kGpsAt.
Bytes camera_block(const TiffWriter &to) {
    const auto ratio = [&](uint32_t tag, uint32_t a, uint32_t b) { return to.rationals(tag, 5, {a, b}); };
    const auto signed_ratio = [&](uint32_t tag, uint32_t a, uint32_t b) { return to.rationals(tag, 10, {a, b}); };
    const auto number = [&](uint32_t tag, uint32_t value) { return to.one_short(tag, value); };
    const std::vector<Entry> exif = {
        ratio(33434, 1, 250), ratio(33437, 28, 10), number(34855, 400), to.ascii(36864, "0230", 7),
        to.ascii(36867, "2026:11:22 01:02:03x"), to.ascii(36868, "2026:11:22 01:02:04x"), signed_ratio(37377, 8, 1),
        signed_ratio(37380, 0xFFFFFFFF, 3), number(37385, 16), ratio(37386, 50, 1), number(40961, 1),
        number(40962, 4000), to.one_long(40963, 70000), number(41986, 1), number(41987, 1), ratio(41988, 3, 2),
        // Of another type or count.
        to.one_long(34855, 9), Entry{34855, 3, 3, Bytes(6, 9)}};
    const std::vector<Entry> gps = {Entry{0, 1, 4, {2, 3, 0, 0}},
                                    Entry{1, 2, 2, {'S', 0}},
                                    to.rationals(2, 5, {1, 1, 2, 1, 3, 1}),
                                    Entry{3, 2, 2, {'W', 0}},
                                    to.rationals(4, 5, {4, 1, 5, 1, 6, 1}),
                                    Entry{5, 1, 1, {1}},
                                    ratio(6, 7, 2),
                                    to.rationals(7, 5, {8, 1, 9, 1, 10, 1}),
                                    to.ascii(18, "WGS-84"),
                                    to.ascii(27, "GPS", 7),
                                    to.ascii(29, "2026:11:22x"),
                                    ratio(2, 9, 9),
                                    to.ascii(29, "short")};
    Bytes block = cat({to.header(), to.directory(kExifAt, exif)});
    EXPECT_LT(block.size(), kGpsAt);
    block.resize(kGpsAt);
    return cat({block, to.directory(kGpsAt, gps)});
}

// Every number and string of a record, comma by comma.
std::string text_of(const ExifInfo &i) {
    std::string out;
    const auto add = [&out](auto... values) { ((out += std::to_string(values) + ","), ...); };
    const auto add_text = [&out](const void *value) {
        out += std::string(value ? static_cast<const char *>(value) : "-") + ",";
    };
    add(i.orientation, i.iso, i.exposureTime[0], i.exposureTime[1], i.fNumber[0], i.fNumber[1], i.exposureBias[0],
        i.exposureBias[1], i.shutterSpeed[0], i.shutterSpeed[1], i.focalLength[0], i.focalLength[1],
        i.digitalZoomRatio[0], i.digitalZoomRatio[1], i.flash, i.colorSpace, i.exposureMode, i.whiteBalance,
        i.pixelWidth, i.pixelHeight);
    add_text(i.exifVersion), add_text(i.dateTimeOriginal), add_text(i.dateTimeDigitized);
    if (!i.gps) return out;
    const GpsInfo &g = *i.gps;
    add(g.versionId[0], g.versionId[1], g.latitudeRef[0], g.longitudeRef[0], g.altitudeRef, g.altitude[0],
        g.altitude[1]);
    for (int k = 0; k < 3; ++k) add(g.latitude[k][0], g.longitude[k][0], g.timeStamp[k][0], g.timeStamp[k][1]);
    add_text(g.mapDatum), add_text(g.processingMethod), add_text(g.dateStamp);
    return out;
}

// The record that the directories of a block fill, and the readers' results; reading them twice replaces.
Seen read_camera_block(Kind kind, const Bytes &jpeg) {
    Input input(kind, jpeg);
    uint32_t length = 0;
    uint8_t *block = input.session() ? vorel_exif_block(input.session(), &length) : nullptr;
    if (!block) return {};
    GuardBuffer copy(Bytes(block, block + length));
    VORELBRIM_OsFree(block);
    auto *info = static_cast<ExifInfo *>(std::calloc(1, sizeof(ExifInfo)));
    const uint32_t little = copy.data()[0] == 'I';
    int32_t results = 0;
    for (int i = 0; i < 2; ++i) {
        results += BRIMJ_ReadExifIFDInfo(copy.data(), kExifAt, length, little, info);
        results += BRIMJ_ReadGpsIFDInfo(copy.data(), kGpsAt, length, little, info);
    }
    const std::string all = text_of(*info);
    BRIMJ_DestroyExifInfo(info);
    return {results == 4, Bytes(all.begin(), all.end())};
}

TEST(JpegExif, CameraDataAreReadFromEveryInput) {
    for (const TiffWriter to : {TiffWriter{true}, TiffWriter{false}}) {
        const Bytes file = with_exif(jpeg_header(8, 8), camera_block(to));
        const Seen seen = read_camera_block(Kind::kMemory, file);
        EXPECT_EQ(std::string(seen.bytes.begin(), seen.bytes.end()),
                  "0,400,1,250,28,10,-1,3,8,1,50,1,3,2,16,1,1,1,4000,70000,0230,2026:11:22 01:02:03x,"
                  "2026:11:22 01:02:04x,2,3,83,87,1,7,2,1,4,8,1,2,5,9,1,3,6,10,1,WGS-84,GPS,2026:11:22,");
        if (to.little)
            expect_conforms(
                {.name = "camera data", .file = file, .decode = read_camera_block, .survives = true, .decodes = 100});
    }
}

TEST(JpegExif, TheSegmentIsFoundAmongOthers) {
    const TiffWriter to = {true};
    const Bytes exif = exif_segment(to.block({to.one_short(274, 8)})), xmp = app1(text("http://ns.adobe.com/xap/1.0/"));
    const Bytes jpeg = jpeg_header(8, 8);
    const Bytes long_segment = cat({{0xFF, 0xE2}, big_16(40002), Bytes(40000, 0xFF)});
    const Bytes in_short = cat({head(exif, 2), big_16(7), text("Exif")});
    struct Row {
        Bytes file;
        int64_t orientation;  // -1: no record
        const char *what;
    };
    const Row rows[] = {
        {with_inserted(jpeg, 2, cat({xmp, exif})), 8, "behind XMP"},
        {with_inserted(jpeg, 2, cat({long_segment, {0xFF, 0xFF}, exif})), 8, "behind a long segment and fill"},
        {cat({jpeg, {0x12, 0xFF, 0x00, 0xFF, 0xD9}, exif, {0}}), 8, "behind the scan"},
        {with_inserted(jpeg, 2, cat({in_short, exif})), -1, "behind an APP1 too short for a prefix"},
        {with_inserted(jpeg, 2, cat({{0xFF, 0xE0, 0, 1}, exif})), -1, "behind a length of 1"},
        {cat({jpeg, exif}), -1, "ends the file"},
        {jpeg, -1, "none"},
        {changed(with_inserted(jpeg, 2, exif), 1, {0xD9}), -1, "no SOI"}};
    for (const Row &row : rows) {
        for (const Kind kind : kAllKinds) {
            Input input(kind, row.file);
            ExifInfo *info = BRIMJ_CreatExifInfo(input.session());
            EXPECT_EQ(info ? int64_t{info->orientation} : -1, row.orientation)
                << row.what << ", kind " << static_cast<int>(kind);
            EXPECT_EQ(info ? BRIMJ_DestroyExifInfo(info) : 1, 1);
        }
    }
    EXPECT_EQ(BRIMJ_DestroyExifInfo(nullptr), 0);
}

TEST(JpegExif, OrientationTurnsDecodesThatAskForIt) {
    const Bytes jpeg = turbo_picture({.width = 40, .height = 24});
    for (const auto &[orientation, bits] : {std::pair{6u, 4u}, {8u, 12u}, {3u, 8u}, {1u, 0u}, {2u, 0u}}) {
        for (const TiffWriter to : {TiffWriter{true}, TiffWriter{false}}) {
            const Bytes file = with_exif(jpeg, to.block({to.one_short(274, orientation)}));
            const bool sideways = bits & 4;
            DecodeSpec spec = {
                .format = COLOR_RGBA8888, .width = sideways ? 24 : 40, .height = sideways ? 40 : 24, .options = bits};
            const Decoded wanted = decode(jpeg, spec);
            for (const Kind kind : kAllKinds) {
                spec.kind = kind;
                spec.options = VOREL_OPTION_EXIF_ORIENTATION;
                EXPECT_TRUE(decode(file, spec).pixels == wanted.pixels) << orientation;
            }
            GuardBuffer out(40 * 24 * 4);
            // An input that is read once has nothing left behind a search.
            StreamSource once(file);
            const SessionGuard session(once.open(COLOR_RGBA8888, VOREL_OPTION_EXIF_ORIENTATION, false));
            EXPECT_EQ(VORELBRIM_DecodeJPEG(session.get(), out.data(), 40, 24), 1);
            EXPECT_TRUE(out.bytes() == decode(jpeg, {.format = COLOR_RGBA8888, .width = 40, .height = 24}).pixels);
            int32_t options[3] = {VOREL_OPTION_EXIF_ORIENTATION, 0, 0};
            const auto length = static_cast<int32_t>(file.size());
            EXPECT_EQ(VorelDecodeBufferOpt(file.data(), out.data(), length, COLOR_RGBA8888, 1, options), 1);
            EXPECT_TRUE(out.bytes() == wanted.pixels) << orientation;
            EXPECT_EQ(options[1], spec.width);
        }
    }
}

TEST(JpegExif, TiffFilesNameTheirJpegStream) {
    const TiffWriter to = {true};
    // The 0th directory at 8 with a subdirectory at 100, the 1st at 200.
    const auto file = [&](uint32_t sub, uint32_t sub_tag) {
        Bytes out = cat({to.header(), to.directory(8, {to.one_short(274, 3), to.one_long(330, sub)}, 200)});
        out.resize(100);
        out = cat({out, to.directory(100, {to.one_long(sub_tag, sub_tag == 513 ? 77 : 100)})});
        out.resize(200);
        return cat({out, to.directory(200, {to.one_short(274, 1)})});
    };
    for (const auto &[bytes, offset] :
         {std::pair{file(100, 513), 77u}, {file(8, 513), 0u}, {file(100, 330), 0u}, {file(9999, 513), 0u}}) {
        Input input(Kind::kPath, bytes);
        IoInfo *io = input.session()->ioInfo;
        StreamBuffer stream = {io, 0, io->size, 0, 0, BRIMJ_AllocateStreamBuffer(io)};
        uint8_t *const block = stream.buffer;
        ExifInfo info = {};
        EXPECT_EQ(BRIMJ_ReadTiffInfo(input.session(), &stream, &info), 1);
        EXPECT_EQ(input.session()->streamOffset, offset);
        EXPECT_EQ(info.orientation, 3u);
        BRIMJ_ReleaseStreamBuffer(io, block);
    }
}

TEST(JpegExif, ResolutionIsThatOfTheLastFrameBeforeTheScan) {
    const Bytes jpeg = cat({jpeg_header(300, 200), Bytes(20, 0)}), exif = exif_segment(Bytes(30, 0xFF));
    uint32_t width = 0, height = 0;
    const auto read = [&](const Bytes &bytes) {
        GuardBuffer buffer(bytes);
        return BRIMJ_GetJPEGResolution(buffer.data(), static_cast<int32_t>(buffer.size()), &width, &height);
    };
    EXPECT_EQ(read(with_inserted(jpeg, 2, exif)), 200);
    EXPECT_EQ(std::pair(width, height), std::pair(300u, 200u));
    const size_t sof = find_marker(jpeg, 0xC0);
    EXPECT_EQ(read(changed(jpeg, sof + 4, {12})), 201) << "12 bits a sample";
    EXPECT_EQ(read(changed(jpeg, sof + 1, {0xC1})), 200) << "SOF1";
    EXPECT_EQ(width, 0u) << "SOF1";
    for (size_t count = 0; count < find_marker(jpeg, 0xDA) + 2; ++count)
        EXPECT_EQ(read(head(jpeg, count)), 201) << count;
}

}  // namespace
}  // namespace vorel::test
