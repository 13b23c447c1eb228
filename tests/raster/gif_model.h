// GIF decoding pixel by pixel, for comparison: one formula a pixel, one table look-up a code, no shortcuts.
#pragma once

#include <optional>

#include "raster/raster_model.h"
#include "support/gif_files.h"

namespace vorel::test {

// The first frame on its background; all of the buffer comes out.
Bytes model_gif_still(const GifFile &file, const RasterTarget &target, uint8_t fill = kUntouched);

// Call by call, formats 7 and 8.
class GifAnimationModel {
  public:
    GifAnimationModel(const GifFile &file, const RasterTarget &target);
    Bytes next();

  private:
    const GifFile &file_;
    RasterTarget target_;
    size_t frame_ = 0;
    int disposal_ = 0, transparent_ = -1;
    std::vector<uint32_t> canvas_;
};

// The indices of one image from the bytes behind its minimum code size, to the letter of how codes are taken, with the
// table that earlier images left.
class GifLzwModel {
  public:
    struct Image {
        int result;
        std::vector<Bytes> rows;
    };
    Image decode(const Bytes &data, int min_code_size, int width, int height, int screen_width);

  private:
    struct String {
        uint32_t prefix = 0, length = 0;
        uint8_t suffix = 0;
    };
    std::optional<Bytes> translate(uint32_t code, size_t filled, size_t limit) const;

    String table_[4096] = {};
};

// All pictures of an animation until a call does not give 1, each into a guarded buffer of its own.
std::vector<RasterPicture> decode_animation(DecInfo *session, const RasterTarget &target);
std::vector<RasterPicture> decode_animation(Kind kind, const Bytes &file, const RasterTarget &target);

// A still decode and, in formats 7 and 8, an animation of that file against the models.
void expect_gif_as_model(const Bytes &bytes, const GifFile &file, const RasterTarget &target,
                         uint8_t fill = kUntouched);

// Frames of all kinds, some of them beyond the screen, interlaced, transparent, with local tables.
GifFile random_gif(std::mt19937 &random, int most_side, int colours, int frames);

}  // namespace vorel::test
