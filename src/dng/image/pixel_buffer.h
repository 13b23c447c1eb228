// Samples in memory with their steps, and the image that owns them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "dng/base/geometry.h"

// TIFF 6.0 field types that serve as pixel types.
enum DngPixelType : uint32_t { kPixelByte = 1, kPixelShort = 3, kPixelLong = 4, kPixelFloat = 11 };

// How rows are padded: not at all, or to whole blocks of 16 bytes of each plane.
enum PaddingType : uint32_t { kPaddingNone = 0, kPaddingSIMD = 1 };

// A view of samples. Steps are in samples; where pixels are interleaved, the column step is the number of planes and
// the plane step is 1.
class VorelDngPixelBuffer {
  public:
    vorel::DngRect area;
    uint32_t plane = 0, planes = 0;
    int32_t rowStep = 0, colStep = 0, planeStep = 0;
    uint32_t pixelType = 0, pixelSize = 0;  // bytes of a sample
    void *data = nullptr;

    // The sample at a position inside area.
    template <typename Sample>
    Sample *at(int32_t row, int32_t column, uint32_t of_plane = 0) const {
        const ptrdiff_t index = (ptrdiff_t{row} - area.top) * rowStep + (ptrdiff_t{column} - area.left) * colStep +
                                static_cast<ptrdiff_t>(of_plane - plane) * planeStep;
        return static_cast<Sample *>(data) + index;
    }
};
