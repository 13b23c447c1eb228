// vorel exif: the camera data of a picture, by the names that exiftool gives them.
#include <vorel/exif.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "raw_file.h"
#include "session.h"

namespace vorel_tool {
namespace {

using Json = nlohmann::ordered_json;

struct ExifOptions {
    std::vector<std::string> files;
    bool json = false;
};

struct BlockFree {
    void operator()(uint8_t *block) const { VORELBRIM_OsFree(block); }
};
struct InfoFree {
    void operator()(ExifInfo *info) const { BRIMJ_DestroyExifInfo(info); }
};

// The Exif block of a picture and what its directories hold.
class ExifBlock {
  public:
    explicit ExifBlock(Session &session) : bytes_(vorel_exif_block(session.get(), &length_)), info_(zeroed_info()) {
        if (!bytes_ || !info_ || !BRIMJ_ReadExifInfo(bytes_.get(), 0, length_, info_.get())) return;
        readable_ = true;
        little_ = bytes_.get()[0] == 'I';
        walk(number(4), nullptr, [this](const ExifField &field) { take(field); });
    }
    explicit operator bool() const { return readable_; }
    const ExifInfo &info() const { return *info_; }
    // The tag is there as the record takes it.
    bool has_orientation() const { return info_->orientation >= 1 && info_->orientation <= 8; }
    bool has(uint16_t tag, uint16_t type) const { return holds(exif_tags_, tag, type, 1); }
    bool has_gps(uint16_t tag, uint16_t type, uint32_t count) const { return holds(gps_tags_, tag, type, count); }
    const std::string &make() const { return make_; }
    const std::string &model() const { return model_; }

  private:
    using Tags = std::map<uint16_t, ExifField>;

    static bool holds(const Tags &tags, uint16_t tag, uint16_t type, uint32_t count) {
        const auto found = tags.find(tag);
        return found != tags.end() && found->second.type == type && found->second.count == count;
    }

    static ExifInfo *zeroed_info() {
        void *memory = VORELBRIM_OsMalloc(sizeof(ExifInfo));
        return static_cast<ExifInfo *>(memory ? std::memset(memory, 0, sizeof(ExifInfo)) : nullptr);
    }
    uint32_t byte(size_t at) const { return bytes_.get()[at]; }
    uint32_t number(size_t at) const {
        const uint32_t a = byte(at), b = byte(at + 1), c = byte(at + 2), d = byte(at + 3);
        return little_ ? d << 24 | c << 16 | b << 8 | a : a << 24 | b << 16 | c << 8 | d;
    }
    template <typename Visit>
    void walk(uint32_t offset, Tags *tags, const Visit &visit) {
        if (offset > length_ || length_ - offset < 2) return;
        const uint32_t count = little_ ? byte(offset + 1) << 8 | byte(offset) : byte(offset) << 8 | byte(offset + 1);
        for (uint32_t i = 0, at = offset + 2; i < count && at + 12 <= length_; ++i, at += 12) {
            ExifField field;
            if (!BRIMJ_ReadExifField(bytes_.get(), at, length_, little_, &field)) continue;
            if (tags) tags->insert_or_assign(field.tag, field);
            visit(field);
        }
    }
    void take(const ExifField &field) {
        constexpr uint16_t kMake = 271, kModel = 272, kExifDirectory = 34665, kGpsDirectory = 34853;
        if (field.tag == kMake) make_ = text(field);
        if (field.tag == kModel) model_ = text(field);
        // The first of each: they may be there without number.
        if (field.tag == kExifDirectory && exif_tags_.empty() &&
            BRIMJ_ReadExifIFDInfo(bytes_.get(), field.value, length_, little_, info_.get()))
            walk(field.value, &exif_tags_, [](const ExifField &) {});
        if (field.tag == kGpsDirectory && gps_tags_.empty() &&
            BRIMJ_ReadGpsIFDInfo(bytes_.get(), field.value, length_, little_, info_.get()))
            walk(field.value, &gps_tags_, [](const ExifField &) {});
    }
    std::string text(const ExifField &field) const {
        if (field.type != 2) return {};
        const char *begin = reinterpret_cast<const char *>(bytes_.get()) + field.value;
        return {begin, strnlen(begin, field.byteLength)};
    }

    uint32_t length_ = 0;
    std::unique_ptr<uint8_t, BlockFree> bytes_;
    std::unique_ptr<ExifInfo, InfoFree> info_;
    bool little_ = false, readable_ = false;
    Tags exif_tags_, gps_tags_;
    std::string make_, model_;
};

template <typename Number>
double ratio(const Number (&value)[2]) {
    return value[1] ? static_cast<double>(value[0]) / static_cast<double>(value[1]) : 0;
}

// Degrees, minutes and seconds (or hours) as one number, negative for the reference letter that says so.
double degrees(const uint32_t (&value)[3][2], const char *reference) {
    const double sum = ratio(value[0]) + ratio(value[1]) / 60 + ratio(value[2]) / 3600;
    return reference[0] == 'S' || reference[0] == 'W' ? -sum : sum;
}

// Field types (TIFF 6.0, section 2).
constexpr uint16_t kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kSignedRational = 10;

// Numbers as they are tagged, rationals as quotients; the shutter speed in seconds.
Json record_of(const ExifBlock &block) {
    const ExifInfo &info = block.info();
    Json out = Json::object();
    const auto put = [&](uint16_t tag, uint16_t type, const char *name, auto value) {
        if (block.has(tag, type)) out[name] = value;
    };
    const auto put_text = [&](const char *name, const char *text) {
        if (text) out[name] = text;
    };
    if (!block.make().empty()) out["Make"] = block.make();
    if (!block.model().empty()) out["Model"] = block.model();
    if (block.has_orientation()) out["Orientation"] = info.orientation;
    put(33434, kRational, "ExposureTime", ratio(info.exposureTime));
    put(33437, kRational, "FNumber", ratio(info.fNumber));
    put(34855, kShort, "ISO", info.iso);
    put_text("ExifVersion", info.exifVersion);
    put_text("DateTimeOriginal", info.dateTimeOriginal);
    put_text("CreateDate", info.dateTimeDigitized);
    put(37377, kSignedRational, "ShutterSpeedValue", std::exp2(-ratio(info.shutterSpeed)));
    put(37380, kSignedRational, "ExposureCompensation", ratio(info.exposureBias));
    put(37385, kShort, "Flash", info.flash);
    put(37386, kRational, "FocalLength", ratio(info.focalLength));
    put(40961, kShort, "ColorSpace", info.colorSpace);
    for (const uint16_t type : {kShort, kLong}) {
        put(40962, type, "ExifImageWidth", info.pixelWidth);
        put(40963, type, "ExifImageHeight", info.pixelHeight);
    }
    put(41986, kShort, "ExposureMode", info.exposureMode);
    put(41987, kShort, "WhiteBalance", info.whiteBalance);
    put(41988, kRational, "DigitalZoomRatio", ratio(info.digitalZoomRatio));
    if (!info.gps) return out;
    const GpsInfo &gps = *info.gps;
    const auto put_gps = [&](uint16_t tag, uint16_t type, uint32_t count, const char *name, auto value) {
        if (block.has_gps(tag, type, count)) out[name] = value;
    };
    put_gps(2, kRational, 3, "GPSLatitude", degrees(gps.latitude, gps.latitudeRef));
    put_gps(4, kRational, 3, "GPSLongitude", degrees(gps.longitude, gps.longitudeRef));
    put_gps(6, kRational, 1, "GPSAltitude", gps.altitudeRef == 1 ? -ratio(gps.altitude) : ratio(gps.altitude));
    put_text("GPSMapDatum", gps.mapDatum);
    put_gps(29, kAscii, sizeof gps.dateStamp, "GPSDateStamp", gps.dateStamp);
    return out;
}

// For a terminal, which takes control characters for commands.
std::string text_of(const Json &value) {
    std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    for (char &c : text) {
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) c = '?';
    }
    return text;
}

Json fields_of(const std::string &file) {
    if (const std::unique_ptr<RawFile> raw = RawFile::open(file)) return raw->exif_record();
    Session session(file, Source::kFile, COLOR_RGBA8888, 0);
    session.parse();
    const ExifBlock block(session);
    if (!block) throw Failure(file + ": no Exif data");
    return record_of(block);
}

int show_exif(const ExifOptions &options) {
    Json records = Json::array();
    int status = kExitOk;
    for (const std::string &file : options.files) {
        Json record = {{"SourceFile", file}};
        try {
            const Json fields = fields_of(file);
            record.update(fields);
            if (!options.json) {
                for (const auto &[name, value] : fields.items()) {
                    std::cout << (options.files.size() > 1 ? file + ": " : "") << name << ": " << text_of(value)
                              << "\n";
                }
            }
        } catch (const Failure &failure) {
            status = kExitFailed;
            std::cout.flush();
            complain(failure.what());
            record["error"] = failure.what();
        }
        records.push_back(record);
    }
    // What cameras write need not be UTF-8, but JSON has to be.
    if (options.json) std::cout << records.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    if (!std::cout.flush()) throw Failure("standard output cannot be written");
    return status;
}

}  // namespace

void register_exif(CLI::App &app, Action &action) {
    auto options = std::make_shared<ExifOptions>();
    CLI::App *command = app.add_subcommand("exif", "Print the camera data of JPEG pictures and raw files");
    command->add_option("FILE", options->files, "Pictures")->required();
    command->add_flag("--json", options->json, "Print a JSON array with a record a file");
    command->callback([options, &action] { action = [options] { return show_exif(*options); }; });
}

}  // namespace vorel_tool
