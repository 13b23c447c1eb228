// GIF decoding pixel by pixel, for comparison: one formula a pixel, one table look-up a code, no shortcuts.
#pragma once

#include <optional>

#include "support/gif_files.h"

namespace vorel::test {

struct GifTarget {
    int width, height, format;
    uint32_t options = 0;

    bool packed() const { return (options & 0x700) == 0x100; }
    bool stretched() const { return (options & 0x700) == 0x700; }
};

int gif_pixel_bytes(int format);

struct GifSize {
    int width, height;
};
// The size that a screen is shown at.
GifSize gif_shown_size(GifSize screen, const GifTarget &target);
// Pixels of the buffer that the target needs.
GifSize gif_buffer_size(GifSize screen, const GifTarget &target);

// The first frame on its background; all of the buffer comes out.
Bytes model_gif_still(const GifFile &file, const GifTarget &target, Bytes before);

// Call by call, formats 7 and 8.
class GifAnimationModel {
  public:
    GifAnimationModel(const GifFile &file, const GifTarget &target);
    Bytes next(Bytes before);

  private:
    const GifFile &file_;
    GifTarget target_;
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

}  // namespace vorel::test
