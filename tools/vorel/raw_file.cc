// Raw files: told apart from pictures, read and described.
#include "raw_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "exif_writer.h"
#include "failure.h"

namespace vorel_tool {
namespace {

constexpr uint32_t kCfa = 32803, kLinearRaw = 34892;

std::string compression_name(uint32_t compression) {
    switch (compression) {
        case 1:
            return "uncompressed";
        case 7:
            return "JPEG";
        case 8:
            return "deflate";
        case 34892:
            return "lossy JPEG";
        default:
            return "compression " + std::to_string(compression);
    }
}

const char *kind_name(uint32_t photometric) {
    return photometric == kCfa ? "mosaic" : photometric == kLinearRaw ? "linear" : "other";
}

// "n/d"; false for a denominator of 0.
bool quotient(const char *text, double *value) {
    double n = 0, d = 0;
    if (std::sscanf(text, "%lf/%lf", &n, &d) != 2 || d == 0) return false;
    *value = n / d;
    return true;
}

using Json = nlohmann::ordered_json;

void put_text(Json *out, const char *name, const char *text) {
    if (*text) (*out)[name] = text;
}
void put_quotient(Json *out, const char *name, const char *text) {
    double value;
    if (quotient(text, &value)) (*out)[name] = value;
}
void put_number(Json *out, const char *name, uint32_t value) {
    if (value) (*out)[name] = value;
}
// "YYYY-MM-DDTHH:MM:SS+H:MM" as Exif writes dates; empty where there is none.
std::string exif_date(const char *text) {
    std::string date(text, strnlen(text, 19));
    if (date.size() < 19 || date.compare(0, 4, "0000") == 0) return {};
    date[4] = date[7] = ':', date[10] = ' ';
    return date;
}

void put_date(Json *out, const char *name, const char *text) { put_text(out, name, exif_date(text).c_str()); }
void put_degrees(Json *out, const char *name, const char *d, const char *m, const char *s, const char *reference) {
    double degrees, minutes = 0, seconds = 0;
    if (!quotient(d, &degrees)) return;
    quotient(m, &minutes), quotient(s, &seconds);
    const double sum = degrees + minutes / 60 + seconds / 3600;
    (*out)[name] = reference[0] == 'S' || reference[0] == 'W' ? -sum : sum;
}

}  // namespace

std::unique_ptr<RawFile> RawFile::open(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) throw Failure(path + ": " + std::strerror(errno));
    if (!S_ISREG(status.st_mode) || status.st_size < 8) return nullptr;
    struct Close {
        void operator()(FILE *file) const { std::fclose(file); }
    };
    const std::unique_ptr<FILE, Close> file(std::fopen(path.c_str(), "rb"));
    if (!file) throw Failure(path + ": " + std::strerror(errno));
    char head[2];
    if (std::fread(head, 1, 2, file.get()) != 2) throw Failure(path + ": " + std::strerror(errno));
    if (std::memcmp(head, "II", 2) != 0 && std::memcmp(head, "MM", 2) != 0) return nullptr;
    if (status.st_size > INT32_MAX) throw Failure(path + ": is larger than 2 GiB");
    std::unique_ptr<RawFile> raw(new RawFile);
    raw->path_ = path;
    raw->bytes_.resize(static_cast<size_t>(status.st_size));
    std::rewind(file.get());
    if (std::fread(raw->bytes_.data(), 1, raw->bytes_.size(), file.get()) != raw->bytes_.size())
        throw Failure(path + ": cannot be read to its end");
    raw->info_.acceptLossless = 1;
    if (parseDNGImageBuffer(raw->data(), raw->length(), &raw->info_) != 0)
        throw Failure(path + ": begins like a TIFF file, but is none");
    if (raw->info_.width == 0 || raw->info_.height == 0) throw Failure(path + ": a TIFF file without a raw image");
    return raw;
}

bool RawFile::preview(int32_t *width, int32_t *height) const {
    return parseDNGPreviewImageBuffer(data(), length(), width, height) == 0;
}

std::string RawFile::text_line() const {
    std::string line = "DNG, " + std::to_string(width()) + " x " + std::to_string(height()) + ", " +
                       kind_name(info_.photometric) + ", " + std::to_string(info_.bitsPerSample) + " bits, " +
                       compression_name(info_.compression);
    if (info_.orientation) line += ", orientation " + std::to_string(info_.orientation);
    int32_t w, h;
    if (preview(&w, &h)) line += ", preview " + std::to_string(w) + " x " + std::to_string(h);
    return line + ", " + std::to_string(bytes_.size()) + " bytes";
}

Json RawFile::json_record() const {
    Json record = {{"file", path_},
                   {"type", "DNG"},
                   {"width", width()},
                   {"height", height()},
                   {"bytes", bytes_.size()},
                   {"storedWidth", info_.width},
                   {"storedHeight", info_.height},
                   {"kind", kind_name(info_.photometric)},
                   {"bitsPerSample", info_.bitsPerSample},
                   {"samplesPerPixel", info_.samplesPerPixel},
                   {"compression", info_.compression},
                   {"readable", info_.readable == 1}};
    if (info_.orientation) record["orientation"] = info_.orientation;
    int32_t w, h;
    if (preview(&w, &h)) record["preview"] = {{"width", w}, {"height", h}};
    return record;
}

// Tags of Exif 2.3.
std::vector<uint8_t> RawFile::exif_block(int32_t width, int32_t height) const {
    const auto record = std::make_unique<CPVorelDngExif>();
    if (parseExifInfo(data(), length(), record.get()) < 0) return {};
    const CPVorelDngExif &from = *record;
    ExifDirectory zeroth, exif, gps;
    zeroth.put_text(271, from.mMake);
    zeroth.put_text(272, from.mModel);
    zeroth.put_short(274, 1);
    zeroth.put_text(315, from.mArtist);
    zeroth.put_text(33432, from.mCopyright);
    constexpr uint16_t kUndefined = 7;
    exif.put_bytes(36864, kUndefined, {'0', '2', '3', '0'});
    exif.put_rationals(33434, {from.mExposureTime});
    exif.put_rationals(33437, {from.mFNumber});
    if (from.mExposureProgram) exif.put_short(34850, from.mExposureProgram);
    if (from.mISOSpeedRatings0) exif.put_short(34855, std::min(from.mISOSpeedRatings0, 65535u));
    exif.put_text(36867, exif_date(from.mDateTimeOriginal));
    exif.put_text(36868, exif_date(from.mDateTimeDigitized));
    exif.put_rationals(37377, {from.mShutterSpeedValue}, true);
    exif.put_rationals(37378, {from.mApertureValue});
    exif.put_rationals(37380, {from.mExposureBiasValue}, true);
    if (from.mMeteringMode) exif.put_short(37383, from.mMeteringMode);
    exif.put_short(37385, from.mFlash);
    exif.put_rationals(37386, {from.mFocalLength});
    exif.put_short(40961, 1);  // sRGB
    exif.put_long(40962, static_cast<uint32_t>(width));
    exif.put_long(40963, static_cast<uint32_t>(height));
    exif.put_text(42036, from.mLensName);
    if (from.mGPSLatitudeRef[0] && from.mGPSLongitudeRef[0]) {
        gps.put_bytes(0, 1, {2, 3, 0, 0});
        gps.put_text(1, std::string(1, from.mGPSLatitudeRef[0]));
        gps.put_rationals(2, {from.mGPSLatitude0, from.mGPSLatitude1, from.mGPSLatitude2});
        gps.put_text(3, std::string(1, from.mGPSLongitudeRef[0]));
        gps.put_rationals(4, {from.mGPSLongitude0, from.mGPSLongitude1, from.mGPSLongitude2});
        gps.put_bytes(5, 1, {static_cast<uint8_t>(from.mGPSAltitudeRef == 1)});
        gps.put_rationals(6, {from.mGPSAltitude});
    }
    return exif_structure(zeroth, exif, gps);
}

Json RawFile::exif_record() const {
    const auto exif = std::make_unique<CPVorelDngExif>();
    if (parseExifInfo(data(), length(), exif.get()) < 0) throw Failure(path_ + ": no Exif data");
    Json out = Json::object();
    put_text(&out, "ImageDescription", exif->mImageDescription);
    put_text(&out, "Make", exif->mMake);
    put_text(&out, "Model", exif->mModel);
    put_number(&out, "Orientation", info_.orientation);
    put_text(&out, "Software", exif->mSoftware);
    put_date(&out, "ModifyDate", exif->mDateTime);
    put_text(&out, "Artist", exif->mArtist);
    put_text(&out, "Copyright", exif->mCopyright);
    put_quotient(&out, "ExposureTime", exif->mExposureTime);
    put_quotient(&out, "FNumber", exif->mFNumber);
    put_number(&out, "ExposureProgram", exif->mExposureProgram);
    put_number(&out, "ISO", exif->mISOSpeedRatings0);
    put_date(&out, "DateTimeOriginal", exif->mDateTimeOriginal);
    put_date(&out, "CreateDate", exif->mDateTimeDigitized);
    double apex;
    if (quotient(exif->mShutterSpeedValue, &apex)) out["ShutterSpeedValue"] = std::exp2(-apex);
    if (quotient(exif->mApertureValue, &apex)) out["ApertureValue"] = std::exp2(apex / 2);
    put_quotient(&out, "BrightnessValue", exif->mBrightnessValue);
    put_quotient(&out, "ExposureCompensation", exif->mExposureBiasValue);
    if (quotient(exif->mMaxApertureValue, &apex)) out["MaxApertureValue"] = std::exp2(apex / 2);
    put_quotient(&out, "SubjectDistance", exif->mSubjectDistance);
    put_number(&out, "MeteringMode", exif->mMeteringMode);
    put_number(&out, "LightSource", exif->mLightSource);
    put_number(&out, "Flash", exif->mFlash);
    put_quotient(&out, "FocalLength", exif->mFocalLength);
    put_number(&out, "FocalLengthIn35mmFormat", exif->mFocalLengthIn35mmFilm);
    put_quotient(&out, "DigitalZoomRatio", exif->mDigitalZoomRatio);
    put_text(&out, "LensMake", exif->mLensMake);
    put_text(&out, "LensModel", exif->mLensName);
    put_text(&out, "LensSerialNumber", exif->mLensSerialNumber);
    put_text(&out, "SerialNumber", exif->mCameraSerialNumber);
    put_text(&out, "OwnerName", exif->mOwnerName);
    put_text(&out, "ImageUniqueID", exif->mImageUniqueID);
    put_degrees(&out, "GPSLatitude", exif->mGPSLatitude0, exif->mGPSLatitude1, exif->mGPSLatitude2,
                exif->mGPSLatitudeRef);
    put_degrees(&out, "GPSLongitude", exif->mGPSLongitude0, exif->mGPSLongitude1, exif->mGPSLongitude2,
                exif->mGPSLongitudeRef);
    double altitude;
    if (quotient(exif->mGPSAltitude, &altitude)) out["GPSAltitude"] = exif->mGPSAltitudeRef == 1 ? -altitude : altitude;
    put_text(&out, "GPSMapDatum", exif->mGPSMapDatum);
    put_text(&out, "GPSDateStamp", exif->mGPSDateStamp);
    if (out.empty()) throw Failure(path_ + ": no Exif data");
    return out;
}

}  // namespace vorel_tool
