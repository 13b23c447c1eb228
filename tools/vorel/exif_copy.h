// The Exif data of one picture for a file with other pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "session.h"

namespace vorel_tool {

// The TIFF structure in a JPEG's Exif segment; empty where there is none.
std::vector<uint8_t> exif_block_of(Session &session);

// Tag 274 of pictures that are seen mirrored (Exif 2.3, 4.6.4 A): 2, 4, 5 and 7.
bool is_mirrored(int32_t orientation);

// Tag 274 of pixels that were turned clockwise by so many degrees as they are stored.
int32_t orientation_behind(int32_t orientation, int degrees);

// Makes sizes and orientation those of the pixels in a file. A thumbnail stays while it shows the same picture.
struct TrueFor {
    int32_t width, height;
    int32_t orientation;  // 0: stays
    bool keep_thumbnail;
};
void make_true(std::vector<uint8_t> *exif, const TrueFor &pixels);

}  // namespace vorel_tool
