#include "dng/support/dng_builder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <stdexcept>
#ifdef HAS_ZLIB
#include <zlib.h>
#endif

#include "support/samples.h"

namespace vorel::test {

Bytes deflated(const Bytes &data) {
#ifdef HAS_ZLIB
    uLongf size = compressBound(data.size());
    Bytes out(size);
    if (compress(out.data(), &size, data.data(), data.size()) != Z_OK) throw std::runtime_error("compress");
    out.resize(size);
    return out;
#else
    static_cast<void>(data);
    throw std::runtime_error("no zlib");
#endif
}

namespace {

void append(Bytes &out, uint64_t value, uint32_t bytes, bool little_endian) {
    for (uint32_t i = 0; i < bytes; ++i) {
        out.push_back(static_cast<uint8_t>(value >> (8 * (little_endian ? i : bytes - 1 - i))));
    }
}

// Of each number of a tag.
constexpr uint32_t kBytesOf[] = {0, 1, 1, 2, 4, 4, 1, 1, 2, 4, 4, 4, 8};

Bytes stored(const DngTag &tag, bool little_endian) {
    Bytes out;
    for (const double number : tag.numbers) {
        const uint64_t bits = tag.type == kDngFloat    ? std::bit_cast<uint32_t>(static_cast<float>(number))
                              : tag.type == kDngDouble ? std::bit_cast<uint64_t>(number)
                                                       : static_cast<uint64_t>(static_cast<int64_t>(number));
        append(out, bits, kBytesOf[tag.type], little_endian);
    }
    return out;
}

uint32_t divided_up(uint32_t value, uint32_t by) { return (value + by - 1) / by; }

// The file as it grows. Directories are written behind what they point to.
struct Writer {
    bool little_endian;
    Bytes file;

    void number(uint64_t value, uint32_t bytes) { append(file, value, bytes, little_endian); }
    void set(size_t at, uint32_t value) { file = changed(file, at, little_endian ? little_32(value) : big_32(value)); }
    uint32_t block(const Bytes &bytes) {
        if (file.size() % 2) file.push_back(0);
        const auto at = static_cast<uint32_t>(file.size());
        file.insert(file.end(), bytes.begin(), bytes.end());
        return at;
    }

    // Where the directory begins. link: where the place of its next-IFD offset is put. Offsets count from base.
    uint32_t directory(const std::vector<DngTag> &tags, size_t *link = nullptr, uint32_t base = 0) {
        std::map<uint32_t, DngTag> sorted;
        for (const DngTag &tag : tags) sorted.insert_or_assign(tag.code, tag);
        Bytes entries;
        for (const auto &[code, tag] : sorted) {
            const bool rational = tag.type == kDngRational || tag.type == kDngSRational;
            append(entries, code, 2, little_endian), append(entries, tag.type, 2, little_endian);
            append(entries, tag.numbers.size() / (rational ? 2 : 1), 4, little_endian);
            Bytes value = stored(tag, little_endian);
            if (value.size() > 4) {
                const uint32_t place = block(value) - base;
                append(value = {}, place, 4, little_endian);
            }
            value.resize(4);
            entries = cat({entries, value});
        }
        const uint32_t at = block({});
        number(sorted.size(), 2);
        file.insert(file.end(), entries.begin(), entries.end());
        if (link) *link = file.size();
        number(0, 4);
        return at;
    }

    std::vector<DngTag> image(const DngImage &image) {
        std::vector<double> offsets, counts;
        for (uint32_t i = 0; i < image.tileCount(); ++i) {
            Bytes data = i < image.tiles.size() ? image.tiles[i] : image.tileData(i, little_endian);
            if (image.tiles.empty() && image.compression == 8) data = deflated(data);
            offsets.push_back(block(data));
            counts.push_back(static_cast<double>(data.size()));
        }
        const bool tiled = image.tileWidth != 0;
        std::vector<DngTag> tags = {{tiled ? 324u : 273u, kDngLong, offsets}, {tiled ? 325u : 279u, kDngLong, counts}};
        const auto add = [&](uint32_t code, uint32_t value, uint32_t count = 1, uint32_t type = kDngShort) {
            tags.push_back({code, type, std::vector<double>(count, value)});
        };
        add(254, image.subFileType, 1, kDngLong), add(256, image.width, 1, kDngLong);
        add(257, image.height, 1, kDngLong);
        add(258, image.bits, image.planes), add(259, image.compression), add(262, image.photometric);
        add(277, image.planes), add(284, image.planarConfiguration);
        if (tiled) add(322, image.tileWidth), add(323, image.tileLength);
        if (!tiled) add(278, image.rowsPerStrip ? image.rowsPerStrip : image.height);
        if (image.predictor != 1) add(317, image.predictor);
        if (image.sampleFormat != 1) add(339, image.sampleFormat, image.planes);
        add_tags(tags, image.tags);
        return tags;
    }
};

}  // namespace

void add_tags(std::vector<DngTag> &to, const std::vector<DngTag> &more) {
    to.insert(to.end(), more.begin(), more.end());
}

DngTag dng_text(uint32_t code, const std::string &text) {
    return {code, kDngAscii, {text.c_str(), text.c_str() + text.size() + 1}};
}

DngTag dng_bytes(uint32_t code, uint32_t type, const Bytes &bytes) {
    return {code, type, {bytes.begin(), bytes.end()}};
}

DngTag dng_rationals(uint32_t code, const std::vector<double> &values, double denominator, uint32_t type) {
    DngTag tag = {code, type, {}};
    for (const double value : values)
        tag.numbers.insert(tag.numbers.end(), {std::round(value * denominator), denominator});
    return tag;
}

uint32_t DngImage::tileCount() const {
    return divided_up(width, tileColumns()) * divided_up(height, tileRows()) * (planarConfiguration == 2 ? planes : 1);
}

Bytes DngImage::tileData(uint32_t index, bool littleEndian) const {
    const bool separate = planarConfiguration == 2;
    const uint32_t across = divided_up(width, tileColumns()), per_plane = across * divided_up(height, tileRows());
    const uint32_t plane = separate ? index / per_plane : 0, tile = index % per_plane;
    const uint32_t top = tile / across * tileRows(), left = tile % across * tileColumns();
    const uint32_t rows = tileWidth ? tileRows() : std::min(tileRows(), height - top);

    Bytes out;
    for (uint32_t r = 0; r < rows; ++r) {
        uint64_t pending = 0;
        uint32_t pending_bits = 0;
        for (uint32_t c = 0; c < tileColumns(); ++c) {
            for (uint32_t p = plane; p < (separate ? plane + 1 : planes); ++p) {
                const uint64_t row = std::min(top + r, height - 1), column = std::min(left + c, width - 1);
                const uint32_t code = samples.empty() ? 0 : samples.at((row * width + column) * planes + p);
                if (bits == 16 || bits == 32) {
                    append(out, code, bits / 8, littleEndian);
                    continue;
                }
                pending = pending << bits | code;
                for (pending_bits += bits; pending_bits >= 8; pending_bits -= 8)
                    out.push_back(static_cast<uint8_t>(pending >> (pending_bits - 8)));
            }
        }
        if (pending_bits) out.push_back(static_cast<uint8_t>(pending << (8 - pending_bits)));
    }
    return out;
}

DngImage dng_image(uint32_t width, uint32_t height, uint32_t bits, uint32_t planes, uint32_t photometric,
                   uint32_t type) {
    DngImage image;
    image.width = width, image.height = height, image.bits = bits, image.planes = planes;
    image.photometric = photometric, image.subFileType = type;
    return image;
}

DngImage dng_mosaic(uint32_t width, uint32_t height, uint32_t bits, const std::string &pattern) {
    DngImage image = dng_image(width, height, bits, 1, 32803);
    DngTag cfa = {33422, kDngByte, {}};
    for (const char color : pattern) cfa.numbers.push_back(color - '0');
    image.tags = {dng_shorts(33421, {2, 2}), cfa, {50710, kDngByte, {0, 1, 2}}, dng_shorts(50711, {1})};
    return image;
}

std::vector<DngTag> dng_color_tags() {
    return {dng_rationals(50721, {0.9, -0.25, -0.03, -0.4, 1.22, 0.2, -0.06, 0.15, 0.65}, 10000, kDngSRational),
            dng_rationals(50722, {0.8, -0.22, -0.08, -0.45, 1.25, 0.22, -0.1, 0.2, 0.55}, 10000, kDngSRational),
            dng_rationals(50728, {0.48, 1, 0.62}), dng_shorts(50778, {17}), dng_shorts(50779, {21})};
}

Bytes DngBuilder::build() const {
    Writer writer = {littleEndian, Bytes(2, littleEndian ? 'I' : 'M')};
    writer.number(magic, 2), writer.number(0, 4);

    std::vector<DngTag> top = writer.image(first);
    const DngTag parts = {50706, kDngByte, {1.0 * (version >> 24), 1.0 * (version >> 16 & 255), 0, 0}};
    if (version) add_tags(top, {parts, {50707, kDngByte, {1, 1, 0, 0}}, dng_text(50708, "Test Camera 1")});
    add_tags(top, {dng_text(271, "Test"), dng_text(272, "Camera 1"), dng_shorts(274, {1})});

    const auto add_subs = [&](std::vector<DngTag> &to, const std::vector<DngImage> &images) {
        DngTag list = dng_longs(330, {});
        for (const DngImage &sub : images) list.numbers.push_back(writer.directory(writer.image(sub)));
        if (!images.empty()) to.push_back(list);
    };
    add_subs(top, subs);
    const auto add_directory = [&](std::vector<DngTag> &to, uint32_t code, const std::vector<DngTag> &all) {
        if (!all.empty()) to.push_back({code, kDngLong, {static_cast<double>(writer.directory(all))}});
    };
    std::vector<DngTag> camera = exif;
    add_directory(camera, 40965, interoperability);
    add_directory(top, 34665, camera);
    add_directory(top, 34853, gps);
    DngTag profiles = dng_longs(50933, {});
    for (const std::vector<DngTag> &profile : extraProfiles) {
        const uint32_t base = writer.block(Bytes(2, littleEndian ? 'I' : 'M'));
        writer.number(0x4352, 2), writer.number(0, 4);
        writer.set(base + 4, writer.directory(profile, nullptr, base) - base);
        profiles.numbers.push_back(base);
    }
    if (!extraProfiles.empty()) top.push_back(profiles);
    add_tags(top, tags);

    size_t link;
    writer.set(4, writer.directory(top, &link));
    for (const DngImage &image : chained) {
        std::vector<DngTag> all = writer.image(image);
        if (&image == &chained[0]) add_subs(all, chainedSubs);
        const size_t from = link;
        writer.set(from, writer.directory(all, &link));
    }
    return writer.file;
}

DngBuilder dng_whole_file() {
    DngBuilder builder;
    builder.first = dng_preview(4, 3);
    builder.subs = {dng_mosaic(34, 30, 12), dng_mask(2, 2)};
    builder.chained = {dng_preview(2, 2)};
    add_tags(builder.subs[0].tags, {dng_shorts(50713, {2, 2}), dng_shorts(50714, {1, 2, 3, 4}),
                                    dng_shorts(50829, {0, 0, 30, 34}), dng_shorts(50830, {0, 0, 1, 1}),
                                    DngTag{51041, kDngDouble, {1, 2}}, DngTag{51008, kDngUndefined, {0, 0, 0, 0}},
                                    dng_rationals(50719, {1.5, 2.4}), dng_rationals(50720, {30.5, 20})});
    builder.tags = dng_color_tags();
    add_tags(builder.tags, {dng_shorts(274, {6}), dng_text(306, "2024:02:29 23:59:58"), dng_shorts(50741, {1}),
                            dng_bytes(700, kDngByte, {'<', 'x', '/', '>', ' '}), dng_text(305, std::string(300, 's'))});
    add_tags(builder.exif,
             {DngTag{33434, kDngRational, {1, 250}}, DngTag{34858, kDngSShort, {-3, 2}},
              dng_bytes(36864, kDngUndefined, {'0', '2', '3', '0'}), dng_text(36867, "2024-02-28T01:02:03"),
              dng_text(36868, "2024:13:28 01:02:03"), DngTag{37378, kDngRational, {4, 1}},
              DngTag{37380, kDngSRational, {-1, 3}}, dng_shorts(37385, {16}),
              DngTag{41730, kDngUndefined, {0, 2, 0, 2, 0, 1, 1, 2}}, dng_text(42036, "Lens"),
              dng_bytes(37500, kDngUndefined, {'n', 'o', 't', 'e', '!'}), dng_rationals(42034, {24, 70, 2.8, 4}, 10)});
    builder.gps = {DngTag{7, kDngRational, {1, 1, 2, 1, 3, 1}}, DngTag{2, kDngRational, {1, 1, 2, 1}},
                   dng_shorts(30, {1})};
    builder.interoperability = {dng_text(1, "R98")};
    builder.extraProfiles = {dng_color_tags()};
    return builder;
}

}  // namespace vorel::test
