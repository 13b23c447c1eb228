// The samples that an opcode changes: an area, of which every so many rows and columns, and some planes.
#pragma once

#include <cstdint>

#include "dng/base/geometry.h"
#include "dng/image/image.h"
#include "dng/parse/stream.h"

namespace vorel {

// Row and column; top, left, bottom and right. Numbers beyond int32 are its largest.
DngPoint read_point(VorelDngStream &stream);
DngRect read_rect(VorelDngStream &stream);

// Some of the samples of an image.
struct SampleGrid {
    DngRect area;  // in the frame of opcodes: first row and column, and the ends
    int32_t rowPitch = 1, columnPitch = 1;
    uint32_t plane = 0, planes = 0;
    DngPoint offset;  // of the image in the frame

    bool empty() const { return area.empty() || planes == 0; }
    uint32_t rows() const {
        return (area.height() + static_cast<uint32_t>(rowPitch) - 1) / static_cast<uint32_t>(rowPitch);
    }
    uint32_t columns() const {
        return (area.width() + static_cast<uint32_t>(columnPitch) - 1) / static_cast<uint32_t>(columnPitch);
    }
    // Numbers in the frame of the i-th ones.
    int32_t row(uint32_t i) const { return area.top + static_cast<int32_t>(i) * rowPitch; }
    int32_t column(uint32_t i) const { return area.left + static_cast<int32_t>(i) * columnPitch; }
    // Steps between neighbours of the grid in the image.
    int32_t rowStep(const VorelDngImage &image) const { return image.buffer().rowStep * rowPitch; }
    int32_t columnStep(const VorelDngImage &image) const { return image.buffer().colStep * columnPitch; }

    // The grid's first sample of its i-th row.
    template <typename Sample>
    Sample *at(VorelDngImage &image, uint32_t i, uint32_t of_plane) const {
        return image.at<Sample>(row(i) - offset.v, area.left - offset.h, of_plane);
    }
};

}  // namespace vorel

class VorelDngAreaSpec {
  public:
    void getStream(VorelDngStream &stream);

    // The samples inside rect, which is a part of the image. offset: of the image in the frame.
    vorel::SampleGrid within(const VorelDngImage &image, const vorel::DngRect &rect,
                             const vorel::DngPoint &offset) const;

    vorel::DngRect area;
    uint32_t plane = 0, planes = 1;
    uint32_t rowPitch = 1, colPitch = 1;  // at most the area's height and width
};
