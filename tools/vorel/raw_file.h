// Raw files: told apart from pictures, read and described.
#pragma once

#include <vorel/dng.h>
#include <vorel/dng_metadata.h>

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace vorel_tool {

// A DNG file in memory with what its directories say.
class RawFile {
  public:
    // Null for a file that begins like no TIFF file. Throws Failure for one that cannot be read, and for a TIFF file
    // without a raw image.
    static std::unique_ptr<RawFile> open(const std::string &path);

    const std::string &path() const { return path_; }
    const uint8_t *data() const { return bytes_.data(); }
    int32_t length() const { return static_cast<int32_t>(bytes_.size()); }
    // As parsed, with lossless JPEG accepted.
    const decInfo &info() const { return info_; }
    // The developed picture: the default crop where there is one, and no more than the image has.
    int32_t width() const { return side(info_.cropWidth, info_.width); }
    int32_t height() const { return side(info_.cropHeight, info_.height); }
    // The size of the first preview; false without one.
    bool preview(int32_t *width, int32_t *height) const;

    // For vorel info.
    std::string text_line() const;
    nlohmann::ordered_json json_record() const;
    // The camera's settings as the TIFF structure of an Exif segment, for an upright picture of that size.
    std::vector<uint8_t> exif_block(int32_t width, int32_t height) const;
    // For vorel exif, by exiftool's names.
    nlohmann::ordered_json exif_record() const;

  private:
    RawFile() = default;
    static int32_t side(int32_t crop, uint32_t stored) {
        const int32_t whole = static_cast<int32_t>(stored);
        return crop > 0 && crop < whole ? crop : whole;
    }

    std::string path_;
    std::vector<uint8_t> bytes_;
    decInfo info_ = {};
};

}  // namespace vorel_tool
