// A reduced image straight from the mosaic: means of the samples of each colour in blocks.
#pragma once

#include <cstdint>

#include "dng/mosaic/mosaic_info.h"

class VorelDngFastInterpolator {
  public:
    // plane: of the source. The scale that was chosen does not matter: sizes of images decide.
    VorelDngFastInterpolator(const VorelDngMosaicInfo &mosaic, const vorel::DngPoint &scale, uint32_t plane);

    // In four threads, one for each quadrant of dst. The blocks follow from the sizes of the two images: even numbers
    // of rows and columns, not above the ratio of the sizes. Required: a ratio below 2 leaves black.
    void interpolate(const VorelDngImage &src, VorelDngImage &dst);
    // area: of dst, counted from its first pixel.
    void interpolate(const VorelDngImage &src, VorelDngImage &dst, const vorel::DngRect &area);

  private:
    static constexpr uint32_t kNoPlane = vorel::kMaxDngPlanes;

    // Blocks of a whole area, in rows and columns of the two images counted from their first ones.
    struct Blocks;
    template <typename Sample, typename Sum>
    void make_rows(const VorelDngImage &src, VorelDngImage &dst, const Blocks &blocks) const;
    // The same for a pattern of 2 by 2 cells, of which no plane has more than two.
    void make_rows_of_cells(const VorelDngImage &src, VorelDngImage &dst, const Blocks &blocks) const;
    bool fitsCells(const VorelDngImage &src, const Blocks &blocks) const;

    const VorelDngMosaicInfo &mosaic_;
    uint32_t filterPlane_[VorelDngMosaicInfo::kMostCells][VorelDngMosaicInfo::kMostCells];
    uint32_t plane_;
};
