// DNG files made from their parts, with tag numbers and layouts written out as TIFF 6.0 and DNG 1.4.0.0 have them.
#pragma once

#include <string>
#include <vector>

#include "support/inputs.h"

namespace vorel::test {

// Field types of TIFF 6.0.
constexpr uint32_t kDngByte = 1, kDngAscii = 2, kDngShort = 3, kDngLong = 4, kDngRational = 5, kDngSByte = 6,
                   kDngUndefined = 7, kDngSShort = 8, kDngSLong = 9, kDngSRational = 10, kDngFloat = 11,
                   kDngDouble = 12;

// numbers: the values; of rationals numerator and denominator in turn.
struct DngTag {
    uint32_t code, type;
    std::vector<double> numbers;
};
void add_tags(std::vector<DngTag> &to, const std::vector<DngTag> &more);
inline DngTag dng_shorts(uint32_t code, const std::vector<double> &values) { return {code, kDngShort, values}; }
inline DngTag dng_longs(uint32_t code, const std::vector<double> &values) { return {code, kDngLong, values}; }
DngTag dng_text(uint32_t code, const std::string &text);  // with its NUL
DngTag dng_bytes(uint32_t code, uint32_t type, const Bytes &bytes);
// Values in units of 1 / denominator.
DngTag dng_rationals(uint32_t code, const std::vector<double> &values, double denominator = 10000,
                     uint32_t type = kDngRational);

// One directory with its image. Tags of the same code replace those that follow from the other members.
struct DngImage {
    uint32_t subFileType = 0, width = 8, height = 8;
    uint32_t planes = 1, bits = 16, sampleFormat = 1;
    uint32_t photometric = 32803, compression = 1, predictor = 1, planarConfiguration = 1;
    uint32_t rowsPerStrip = 0;               // 0: one strip
    uint32_t tileWidth = 0, tileLength = 0;  // not 0: tiles
    // Codes row by row, planes of a pixel side by side; floats by their bits. Empty: all 0.
    std::vector<uint32_t> samples;
    // What is stored for each strip or tile, in place of samples.
    std::vector<Bytes> tiles;
    std::vector<DngTag> tags;

    uint32_t tileColumns() const { return tileWidth ? tileWidth : width; }
    uint32_t tileRows() const { return tileWidth ? tileLength : rowsPerStrip ? rowsPerStrip : height; }
    uint32_t tileCount() const;
    // The samples of one strip or tile as they are stored without compression: 8, 16 and 32 bits in the file's byte
    // order, other sizes most significant bit first. Tiles repeat the image's last row and column.
    Bytes tileData(uint32_t index, bool littleEndian) const;
};

DngImage dng_image(uint32_t width, uint32_t height, uint32_t bits, uint32_t planes, uint32_t photometric,
                   uint32_t type = 0);
// A mosaic of the 2 x 2 pattern, as colours row by row ("0112" is RGGB), with black 0 and the largest code as white.
DngImage dng_mosaic(uint32_t width, uint32_t height, uint32_t bits, const std::string &pattern = "0112");
// Linear raw of three planes.
inline DngImage dng_linear(uint32_t w, uint32_t h, uint32_t bits) { return dng_image(w, h, bits, 3, 34892); }
// RGB of 8 bits in one strip.
inline DngImage dng_preview(uint32_t width, uint32_t height) { return dng_image(width, height, 8, 3, 2, 1); }
inline DngImage dng_mask(uint32_t width, uint32_t height) { return dng_image(width, height, 8, 1, 4, 4); }

// Color matrices of illuminants A and D65 and an as-shot neutral of 0.48, 1, 0.62.
std::vector<DngTag> dng_color_tags();

struct DngBuilder {
    bool littleEndian = true;
    uint32_t magic = 42;
    uint32_t version = 0x01040000;  // 0: no DNG
    DngImage first;                 // of IFD 0
    std::vector<DngImage> subs, chained;
    std::vector<DngImage> chainedSubs;  // of the first chained one
    std::vector<DngTag> tags;           // of the file, in IFD 0
    std::vector<DngTag> exif, gps, interoperability;
    std::vector<std::vector<DngTag>> extraProfiles;

    // Compression 8 deflates samples; for other compressions than 1 and 8, and for predictors, the images have tiles.
    Bytes build() const;
};

inline int32_t length_of(const Bytes &bytes) { return static_cast<int32_t>(bytes.size()); }

// By zlib; only where the tests have it.
Bytes deflated(const Bytes &data);

// A small file with directories and tags of every kind: preview in IFD 0, mosaic and mask in sub-IFDs, one chained.
DngBuilder dng_whole_file();

}  // namespace vorel::test
