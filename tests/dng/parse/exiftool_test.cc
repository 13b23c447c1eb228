// The values of every file of the corpus, directory by directory, against exiftool, where that is installed.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <span>
#include <sstream>

#include "dng/parse/dng_file.h"
#include "support/corpus.h"

namespace vorel::test {
namespace {

template <typename... Values>
std::string printed(const char *format, Values... values) {
    char text[80];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

// Values as exiftool -n prints them: words with blanks between.
template <typename Value>
std::string words(const Value &v) {
    std::string all;
    if constexpr (std::is_convertible_v<Value, std::string>) {
        all = v;
    } else if constexpr (std::is_arithmetic_v<Value>) {
        all = printed("%.12g", static_cast<double>(v));
    } else if constexpr (requires { v.n; }) {
        all = v.d ? words(v.value()) : v.n ? "inf" : "undef";
    } else if constexpr (requires { v.year; }) {
        all = printed("%04u:%02u:%02u %02u:%02u:%02u", v.year, v.month, v.day, v.hour, v.minute, v.second);
    } else if constexpr (requires { v.top; }) {
        all = words(std::array{v.top, v.left, v.bottom, v.right});
    } else if constexpr (requires { v.rows(); }) {
        for (uint32_t i = 0; i < v.rows() * v.columns(); ++i) all += words(v[i / v.columns()][i % v.columns()]) + " ";
    } else if constexpr (requires { v.count(); }) {
        for (uint32_t i = 0; i < v.count(); ++i) all += words(v[i]) + " ";
    } else {
        for (const auto &each : v) all += words(each) + " ";
    }
    return all;
}

std::array<uint32_t, 4> parts(uint32_t version) {
    return {version >> 24, version >> 16 & 255, version >> 8 & 255, version & 255};
}
std::string digest(const uint8_t (&bytes)[16], const char *format = "%02x") {
    std::string text;
    for (const uint8_t byte : bytes) text += printed(format, byte);
    return text;
}
using Values = std::map<int, std::string>;  // by tag number

// Tag numbers and values in turn.
template <typename Value, typename... Rest>
void put(Values &values, int code, const Value &value, const Rest &...rest) {
    values[code] = words(value);
    if constexpr (sizeof...(rest) != 0) put(values, rest...);
}

Values of_ifd(const VorelDngIFD &i) {
    const uint32_t planes = std::min(i.samplesPerPixel, 4u);
    std::vector<double> black, cfa;
    for (uint32_t site = 0; site < i.blackRepeatRows * i.blackRepeatColumns; ++site)
        for (uint32_t plane = 0; plane < planes; ++plane)
            black.push_back(i.blackLevel[site / i.blackRepeatColumns][site % i.blackRepeatColumns][plane]);
    for (uint32_t site = 0; site < i.cfaRepeatRows * i.cfaRepeatColumns; ++site)
        cfa.push_back(i.cfaPattern[site / i.cfaRepeatColumns][site % i.cfaRepeatColumns]);
    Values v;
    put(v, 254, i.newSubFileType, 256, i.width, 257, i.height, 258, std::span(i.bitsPerSample, planes), 259,
        i.compression, 262, i.photometric, 274, i.orientation, 277, i.samplesPerPixel, 278, i.rowsPerStrip, 282,
        i.xResolution, 283, i.yResolution, 284, i.planarConfiguration, 296, i.xResolutionUnit, 317, i.predictor, 322,
        i.tileWidth, 323, i.tileLength, 339, std::span(i.sampleFormat, planes), 529, i.ycbcrCoefficients, 530,
        std::array{i.ycbcrSubsamplingH, i.ycbcrSubsamplingV}, 531, i.ycbcrPositioning, 532, i.referenceBlackWhite);
    put(v, 33421, std::array{i.cfaRepeatRows, i.cfaRepeatColumns}, 33422, cfa, 50710,
        std::span(i.cfaPlaneColor, i.cfaPlaneCount), 50711, i.cfaLayout, 50713,
        std::array{i.blackRepeatRows, i.blackRepeatColumns}, 50714, black, 50717, std::span(i.whiteLevel, planes),
        50718, std::array{i.defaultScaleH, i.defaultScaleV}, 50719,
        std::array{i.defaultCropOriginH, i.defaultCropOriginV}, 50720,
        std::array{i.defaultCropSizeH, i.defaultCropSizeV}, 50733, i.bayerGreenSplit, 50738, i.antiAliasStrength, 50780,
        i.bestQualityScale, 50829, i.activeArea, 50830, std::span(i.maskedArea, i.maskedAreaCount), 50966,
        i.previewApplicationName, 50967, i.previewApplicationVersion, 50969, digest(i.previewSettingsDigest), 50970,
        i.previewColorSpace, 51041, std::span(i.noise, 2 * i.noiseCount), 51125, i.defaultUserCrop);
    return v;
}

void put_file(const DngFile &file, Values &v) {
    const VorelDngShared &s = file.shared;
    const VorelDngCameraProfileInfo &p = s.cameraProfile;
    const VorelDngExif &e = file.exif;
    put(v, 270, e.imageDescription, 271, e.make, 272, e.model, 305, e.software, 306, e.dateTime, 315, e.artist, 33432,
        e.copyright, 37393, e.imageNumber, 50706, parts(s.dngVersion), 50707, parts(s.dngBackwardVersion), 50708,
        s.uniqueCameraModel, 50709, s.localizedCameraModel, 50721, p.colorMatrix1, 50722, p.colorMatrix2, 50723,
        s.cameraCalibration1, 50724, p.cameraCalibration2, 50727, s.analogBalance, 50728, s.asShotNeutral, 50729,
        std::array{s.asShotWhiteXY.x, s.asShotWhiteXY.y}, 50730, s.baselineExposure, 50731, s.baselineNoise, 50732,
        s.baselineSharpness, 50734, s.linearResponseLimit, 50735, e.cameraSerialNumber, 50736, e.lensInfo, 50739,
        s.shadowScale, 50778, p.illuminant1, 50779, p.illuminant2, 50781, digest(s.rawDataUniqueID, "%02X"));
    put(v, 50827, s.originalRawFileName, 50931, s.cameraCalibrationSignature, 50932, p.calibrationSignature, 50936,
        p.name, 50937, std::vector{p.hueDivisions, p.satDivisions, p.valDivisions}, 50941, p.embedPolicy, 50942,
        p.copyright, 50964, p.forwardMatrix1, 50965, p.forwardMatrix2, 50981,
        std::vector{p.lookHueDivisions, p.lookSatDivisions, p.lookValDivisions}, 51089, s.originalDefaultFinalSize,
        51111, digest(s.newRawImageDigest));
}

// The Exif and the GPS directory, which have no numbers in common.
Values of_camera(const VorelDngExif &e) {
    const auto degrees = [](const DngURational(&d)[3]) {
        return d[0].value() + d[1].value() / 60 + d[2].value() / 3600;
    };
    const auto [a, b, c, d] = parts(e.exifVersion);
    Values v;
    put(v, 0, parts(e.gpsVersionID), 1, e.gpsLatitudeRef, 2, degrees(e.gpsLatitude), 3, e.gpsLongitudeRef, 4,
        degrees(e.gpsLongitude), 5, e.gpsAltitudeRef, 6, e.gpsAltitude, 29, e.gpsDateStamp);
    put(v, 33434, e.exposureTime, 33437, e.fNumber, 34850, e.exposureProgram, 34855, e.isoSpeedRatings[0], 34864,
        e.sensitivityType, 34866, e.recommendedExposureIndex, 36864, printed("%c%c%c%c", a, b, c, d), 36867,
        e.dateTimeOriginal, 36868, e.dateTimeDigitized, 37377, std::exp2(-e.shutterSpeedValue.value()), 37378,
        std::exp2(e.apertureValue.value() / 2), 37380, e.exposureBiasValue, 37381,
        std::exp2(e.maxApertureValue.value() / 2), 37383, e.meteringMode, 37384, e.lightSource, 37385, e.flash, 37386,
        e.focalLength, 37510, e.userComment, 37521, e.subsecTimeOriginal, 37522, e.subsecTimeDigitized, 40961,
        e.colorSpace, 41486, e.focalPlaneXResolution, 41487, e.focalPlaneYResolution, 41488, e.focalPlaneResolutionUnit,
        41495, e.sensingMethod, 41728, e.fileSource, 41729, e.sceneType, 41985, e.customRendered, 41986, e.exposureMode,
        41987, e.whiteBalance, 41988, e.digitalZoomRatio, 41989, e.focalLengthIn35mmFilm, 41990, e.sceneCaptureType,
        41991, e.gainControl, 41992, e.contrast, 41993, e.saturation, 41994, e.sharpness, 42034, e.lensInfo, 42036,
        e.lensName, 42037, e.lensSerialNumber);
    return v;
}

// Word by word; numbers to the digits that are printed. begin_only: theirs may end sooner.
bool same(const std::string &ours, const std::string &theirs, bool begin_only) {
    std::istringstream a(ours), b(theirs);
    std::string x, y;
    while (a >> x) {
        if (!(b >> y)) return begin_only;
        char *ends[2];
        const double u = std::strtod(x.c_str(), &ends[0]), v = std::strtod(y.c_str(), &ends[1]);
        if (x != y && (*ends[0] || *ends[1] || !(std::fabs(u - v) <= 1e-6 * std::fabs(v)))) return false;
    }
    return !(b >> y);
}

// Every directory of a file, by the name that exiftool gives it.
std::map<std::string, Values> directories_of(const std::string &path) {
    const Bytes bytes = read_file(path);
    DngFile file(bytes.data(), static_cast<uint32_t>(bytes.size()));
    EXPECT_NE(file.parse(), path.ends_with("/corrupt-gen_bad_magic.dng"));
    std::map<std::string, Values> groups = {{"ExifIFD", of_camera(file.exif)}, {"GPS", of_camera(file.exif)}};
    for (size_t i = 0; i < file.ifds.size(); ++i)
        groups[i == 0 ? "IFD0" : i == 1 ? "SubIFD" : "SubIFD" + std::to_string(i - 1)] = of_ifd(*file.ifds[i]);
    for (size_t i = 0; i < file.chainedIFDs.size(); ++i)
        groups["IFD" + std::to_string(i + 1)] = of_ifd(*file.chainedIFDs[i]);
    put_file(file, groups["IFD0"]);
    return groups;
}

TEST(DngParse, ValuesOfTheCorpusAreThoseOfExiftool) {
    const std::string folder = VOREL_CORPUS "/dng";
    if (!std::filesystem::exists(folder) || std::system("exiftool -ver >/dev/null 2>&1") != 0) GTEST_SKIP();
    // A headline for each file, then directory, number, name and value of its tags.
    FILE *const pipe = popen(("exiftool -t -n -G1 -a -D -m '" + folder + "' 2>/dev/null").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::map<std::string, Values> groups;
    size_t compared = 0;
    std::vector<char> buffer(1 << 20);
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe)) {
        std::string row = buffer.data(), cells[4];
        row.pop_back();
        if (row.starts_with("======== ")) groups = directories_of(row.substr(9));
        std::istringstream stream(row);
        for (std::string &cell : cells) std::getline(stream, cell, '\t');
        const auto &[directory, number, name, theirs] = cells;
        const auto group = groups.find(directory);
        EXPECT_TRUE(group != groups.end() || !(directory.starts_with("IFD") || directory.starts_with("SubIFD"))) << row;
        if (group == groups.end() || theirs.starts_with("(large array") || theirs.starts_with("(Binary")) continue;
        const auto ours = group->second.find(std::atoi(number.c_str()));
        if (number == "-" || ours == group->second.end()) continue;
        // One white level stands for all planes.
        EXPECT_TRUE(same(ours->second, theirs, number == "50717")) << row << " and not " << ours->second;
        ++compared;
    }
    pclose(pipe);
    EXPECT_GT(compared, 1000u);
}

}  // namespace
}  // namespace vorel::test
