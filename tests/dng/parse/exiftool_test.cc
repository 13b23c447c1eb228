// The values of every file of the corpus, directory by directory, against exiftool, where that is installed.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "dng/parse/dng_file.h"
#include "support/corpus.h"

namespace vorel::test {
namespace {

// Values as exiftool -n prints them: words with blanks between.
class Words {
  public:
    template <typename... Values>
    explicit Words(const Values &...values) {
        (add(values), ...);
    }
    void add(const std::string &text) { out_ += (out_.empty() ? "" : " ") + text; }
    void add(const char *text) { add(std::string(text)); }
    void add(double value) {
        std::ostringstream text;
        text.precision(12);
        text << value;
        add(text.str());
    }
    void add(const DngURational &value) { value.d ? add(value.value()) : add(value.n ? "inf" : "undef"); }
    void add(const DngSRational &value) { value.d ? add(value.value()) : add(value.n ? "inf" : "undef"); }
    void add(const DngRect &rect) {
        for (const int32_t edge : {rect.top, rect.left, rect.bottom, rect.right}) add(edge);
    }
    void add(const VorelDngVector &vector) {
        for (uint32_t i = 0; i < vector.count(); ++i) add(vector[i]);
    }
    void add(const VorelDngMatrix &matrix) {
        for (uint32_t i = 0; i < matrix.rows() * matrix.columns(); ++i) {
            add(matrix[i / matrix.columns()][i % matrix.columns()]);
        }
    }
    void add(const VorelDngDateTime &date) {
        char text[32];
        std::snprintf(text, sizeof text, "%04u:%02u:%02u %02u:%02u:%02u", date.year, date.month, date.day, date.hour,
                      date.minute, date.second);
        add(std::string(text));
    }
    template <typename Value, size_t kCount>
    void add(const Value (&values)[kCount]) {
        add(values, kCount);
    }
    template <typename Value>
    void add(const Value *values, size_t count) {
        for (size_t i = 0; i < count; ++i) add(values[i]);
    }
    // A version of four bytes: apart, or as characters.
    static std::string version(uint32_t value, bool characters) {
        std::string text;
        for (uint32_t shift : {24, 16, 8, 0}) {
            const uint32_t part = value >> shift & 255;
            text += characters ? std::string(1, static_cast<char>(part)) : std::to_string(part) + (shift ? " " : "");
        }
        return text;
    }
    template <size_t kCount>
    static std::string digest(const uint8_t (&bytes)[kCount]) {
        std::string text;
        char hex[3];
        for (const uint8_t byte : bytes) std::snprintf(hex, sizeof hex, "%02x", byte), text += hex;
        return text;
    }
    operator std::string() const { return out_; }

  private:
    std::string out_;
};

// exiftool shows the dates of ISO 8601 like those of Exif.
std::string as_exif_date(std::string date) {
    for (const auto &[at, character] : {std::pair{4, ':'}, {7, ':'}, {10, ' '}}) {
        if (date.size() > 10) date[static_cast<size_t>(at)] = character;
    }
    return date;
}

using Values = std::map<int, std::string>;  // by tag number

Values of_ifd(const VorelDngIFD &i) {
    const uint32_t planes = std::min(i.samplesPerPixel, 4u);
    Words bits, format, black, white, cfa, masks, noise;
    bits.add(i.bitsPerSample, planes);
    format.add(i.sampleFormat, planes);
    white.add(i.whiteLevel, planes);
    masks.add(i.maskedArea, i.maskedAreaCount);
    noise.add(i.noise, 2 * i.noiseCount);
    for (uint32_t row = 0; row < i.blackRepeatRows; ++row) {
        for (uint32_t column = 0; column < i.blackRepeatColumns; ++column) black.add(i.blackLevel[row][column], planes);
    }
    for (uint32_t row = 0; row < i.cfaRepeatRows; ++row) cfa.add(i.cfaPattern[row], i.cfaRepeatColumns);
    Words colors;
    colors.add(i.cfaPlaneColor, i.cfaPlaneCount);
    return {{254, Words(i.newSubFileType)},
            {256, Words(i.width)},
            {257, Words(i.height)},
            {258, bits},
            {259, Words(i.compression)},
            {262, Words(i.photometric)},
            {274, Words(i.orientation)},
            {277, Words(i.samplesPerPixel)},
            {278, Words(i.rowsPerStrip)},
            {282, Words(i.xResolution)},
            {283, Words(i.yResolution)},
            {284, Words(i.planarConfiguration)},
            {296, Words(i.xResolutionUnit)},
            {317, Words(i.predictor)},
            {322, Words(i.tileWidth)},
            {323, Words(i.tileLength)},
            {339, format},
            {529, Words(i.ycbcrCoefficients)},
            {530, Words(i.ycbcrSubsamplingH, i.ycbcrSubsamplingV)},
            {531, Words(i.ycbcrPositioning)},
            {532, Words(i.referenceBlackWhite)},
            {33421, Words(i.cfaRepeatRows, i.cfaRepeatColumns)},
            {33422, cfa},
            {50710, colors},
            {50711, Words(i.cfaLayout)},
            {50713, Words(i.blackRepeatRows, i.blackRepeatColumns)},
            {50714, black},
            {50717, white},
            {50718, Words(i.defaultScaleH, i.defaultScaleV)},
            {50719, Words(i.defaultCropOriginH, i.defaultCropOriginV)},
            {50720, Words(i.defaultCropSizeH, i.defaultCropSizeV)},
            {50733, Words(i.bayerGreenSplit)},
            {50737, Words(i.chromaBlurRadius)},
            {50738, Words(i.antiAliasStrength)},
            {50780, Words(i.bestQualityScale)},
            {50829, Words(i.activeArea)},
            {50830, masks},
            {50966, i.previewApplicationName},
            {50967, i.previewApplicationVersion},
            {50968, i.previewSettingsName},
            {50969, Words::digest(i.previewSettingsDigest)},
            {50970, Words(i.previewColorSpace)},
            {50971, as_exif_date(i.previewDateTime)},
            {51041, noise},
            {51125, Words(i.defaultUserCrop)}};
}

void add_file(const DngFile &file, Values &v) {
    const VorelDngShared &s = file.shared;
    const VorelDngCameraProfileInfo &p = s.cameraProfile;
    const VorelDngExif &e = file.exif;
    v.insert({{270, e.imageDescription},
              {271, e.make},
              {272, e.model},
              {305, e.software},
              {306, Words(e.dateTime)},
              {315, e.artist},
              {33432, e.copyright},
              {37393, Words(e.imageNumber)},
              {50706, Words::version(s.dngVersion, false)},
              {50707, Words::version(s.dngBackwardVersion, false)},
              {50708, s.uniqueCameraModel},
              {50709, s.localizedCameraModel},
              {50721, Words(p.colorMatrix1)},
              {50722, Words(p.colorMatrix2)},
              {50723, Words(s.cameraCalibration1)},
              {50724, Words(p.cameraCalibration2)},
              {50727, Words(s.analogBalance)},
              {50728, Words(s.asShotNeutral)},
              {50729, Words(s.asShotWhiteXY.x, s.asShotWhiteXY.y)},
              {50730, Words(s.baselineExposure)},
              {50731, Words(s.baselineNoise)},
              {50732, Words(s.baselineSharpness)},
              {50734, Words(s.linearResponseLimit)},
              {50735, e.cameraSerialNumber},
              {50736, Words(e.lensInfo)},
              {50739, Words(s.shadowScale)},
              {50778, Words(p.illuminant1)},
              {50779, Words(p.illuminant2)},
              {50781, Words::digest(s.rawDataUniqueID)},
              {50827, s.originalRawFileName},
              {50931, s.cameraCalibrationSignature},
              {50932, p.calibrationSignature},
              {50934, s.asShotProfileName},
              {50936, p.name},
              {50937, Words(p.hueDivisions, p.satDivisions, p.valDivisions)},
              {50941, Words(p.embedPolicy)},
              {50942, p.copyright},
              {50964, Words(p.forwardMatrix1)},
              {50965, Words(p.forwardMatrix2)},
              {50981, Words(p.lookHueDivisions, p.lookSatDivisions, p.lookValDivisions)},
              {51089, Words(s.originalDefaultFinalSize)},
              {51107, Words(p.hueSatMapEncoding)},
              {51108, Words(p.lookTableEncoding)},
              {51109, Words(p.baselineExposureOffset)},
              {51111, Words::digest(s.newRawImageDigest)}});
}

Values of_exif(const VorelDngExif &e) {
    return {{33434, Words(e.exposureTime)},
            {33437, Words(e.fNumber)},
            {34850, Words(e.exposureProgram)},
            {34855, Words(e.isoSpeedRatings[0])},
            {34864, Words(e.sensitivityType)},
            {34866, Words(e.recommendedExposureIndex)},
            {36864, Words::version(e.exifVersion, true)},
            {36867, Words(e.dateTimeOriginal)},
            {36868, Words(e.dateTimeDigitized)},
            {37377, Words(std::exp2(-e.shutterSpeedValue.value()))},
            {37378, Words(std::exp2(e.apertureValue.value() / 2))},
            {37380, Words(e.exposureBiasValue)},
            {37381, Words(std::exp2(e.maxApertureValue.value() / 2))},
            {37383, Words(e.meteringMode)},
            {37384, Words(e.lightSource)},
            {37385, Words(e.flash)},
            {37386, Words(e.focalLength)},
            {37510, e.userComment},
            {37521, e.subsecTimeOriginal},
            {37522, e.subsecTimeDigitized},
            {40961, Words(e.colorSpace)},
            {41486, Words(e.focalPlaneXResolution)},
            {41487, Words(e.focalPlaneYResolution)},
            {41488, Words(e.focalPlaneResolutionUnit)},
            {41495, Words(e.sensingMethod)},
            {41728, Words(e.fileSource)},
            {41729, Words(e.sceneType)},
            {41985, Words(e.customRendered)},
            {41986, Words(e.exposureMode)},
            {41987, Words(e.whiteBalance)},
            {41988, Words(e.digitalZoomRatio)},
            {41989, Words(e.focalLengthIn35mmFilm)},
            {41990, Words(e.sceneCaptureType)},
            {41991, Words(e.gainControl)},
            {41992, Words(e.contrast)},
            {41993, Words(e.saturation)},
            {41994, Words(e.sharpness)},
            {42034, Words(e.lensInfo)},
            {42036, e.lensName},
            {42037, e.lensSerialNumber}};
}

Values of_gps(const VorelDngExif &e) {
    const auto degrees = [](const DngURational(&v)[3]) {
        return v[0].value() + v[1].value() / 60 + v[2].value() / 3600;
    };
    return {{0, Words::version(e.gpsVersionID, false)},
            {1, e.gpsLatitudeRef},
            {2, Words(degrees(e.gpsLatitude))},
            {3, e.gpsLongitudeRef},
            {4, Words(degrees(e.gpsLongitude))},
            {5, Words(e.gpsAltitudeRef)},
            {6, Words(e.gpsAltitude)},
            {29, e.gpsDateStamp}};
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

TEST(DngParse, ValuesOfTheCorpusAreThoseOfExiftool) {
    if (std::system("exiftool -ver >/dev/null 2>&1") != 0) GTEST_SKIP() << "no exiftool";
    size_t compared = 0;
    const bool there = for_each_of_corpus("dng", [&](const std::string &name, const Bytes &bytes) {
        DngFile file(bytes.data(), static_cast<uint32_t>(bytes.size()));
        if (!file.parse()) {
            EXPECT_EQ(name, "corrupt-gen_bad_magic.dng");
            return;
        }
        std::map<std::string, Values> groups = {{"ExifIFD", of_exif(file.exif)}, {"GPS", of_gps(file.exif)}};
        for (size_t i = 0; i < file.ifds.size(); ++i) {
            Values values = of_ifd(*file.ifds[i]);
            if (i == 0) add_file(file, values);
            groups[i == 0 ? "IFD0" : i == 1 ? "SubIFD" : "SubIFD" + std::to_string(i - 1)] = values;
        }
        for (size_t i = 0; i < file.chainedIFDs.size(); ++i) {
            groups["IFD" + std::to_string(i + 1)] = of_ifd(*file.chainedIFDs[i]);
        }
        const std::string command = "exiftool -j -n -G1 -a -D -m '" VOREL_CORPUS "/dng/" + name + "' 2>/dev/null";
        FILE *const pipe = popen(command.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        std::string text;
        char buffer[65536];
        while (const size_t got = fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, got);
        pclose(pipe);
        const nlohmann::json record = nlohmann::json::parse(text)[0];
        for (const auto &[key, value] : record.items()) {
            if (!value.is_object() || !value["id"].is_number_integer()) continue;
            const auto group = groups.find(key.substr(0, key.find(':')));
            if (group == groups.end()) {
                EXPECT_EQ(key.find("IFD"), std::string::npos) << key << ": no such directory";
                continue;
            }
            const auto ours = group->second.find(value["id"].get<int>());
            if (ours == group->second.end()) continue;
            const nlohmann::json &val = value["val"];
            std::string theirs = val.is_string() ? val.get<std::string>() : val.dump();
            if (ours->first == 50781) std::transform(theirs.begin(), theirs.end(), theirs.begin(), ::tolower);
            if (theirs.starts_with("(large array") || theirs.starts_with("(Binary")) continue;
            // One white level stands for all planes.
            const bool white = ours->first == 50717;
            EXPECT_TRUE(same(ours->second, theirs, white)) << key << ": " << ours->second << " and not " << theirs;
            ++compared;
        }
    });
    if (!there) GTEST_SKIP() << "no corpus";
    EXPECT_GT(compared, 1000u);
}

}  // namespace
}  // namespace vorel::test
