// Bilinear interpolation of a mosaic, by kernels in 8.8 fixed point for each cell of its pattern.
#pragma once

#include <cstdint>

#include "dng/mosaic/mosaic_info.h"

// How one plane is made at one site.
struct VorelDngBilinearKernel {
    static constexpr uint32_t kMostTaps = 8;

    uint32_t count = 0;
    vorel::DngPoint position[kMostTaps];  // relative to the site
    int32_t offset[kMostTaps] = {};       // the same, in samples
    float weight32[kMostTaps] = {};
    uint16_t weight16[kMostTaps] = {};  // 256 is 1

    // Taps at one position become one. Weights of 0 or less are ignored.
    void Add(const vorel::DngPoint &delta, float weight);
    // Of the site at (row, column) of an output with scale rows and columns for each of the mosaic: positions become
    // those of the mosaic, taps are sorted by row and column, and the weights' sum becomes 1 exactly.
    void Finalize(const vorel::DngPoint &scale, uint32_t row, uint32_t column, int32_t rowStep, int32_t columnStep);
};

// The kernels of one plane for all sites of the pattern.
class VorelDngBilinearPattern {
  public:
    static constexpr uint32_t kMostSites = 16;  // in either direction

    void calculate(const VorelDngMosaicInfo &mosaic, uint32_t plane, int32_t rowStep, int32_t columnStep);

    vorel::DngPoint scale;
    uint32_t patternRows = 0, patternColumns = 0;
    VorelDngBilinearKernel kernel[kMostSites][kMostSites];
    // For the row functions, indexed by pattern row and column.
    uint32_t counts[kMostSites][kMostSites] = {};
    const int32_t *offsets[kMostSites][kMostSites] = {};
    const uint16_t *weights16[kMostSites][kMostSites] = {};
    const float *weights32[kMostSites][kMostSites] = {};
    // How far taps lie from their site, in samples of the mosaic.
    int32_t reachUp = 0, reachDown = 0, reachLeft = 0, reachRight = 0;
};

class VorelDngBilinearInterpolator {
  public:
    // Steps of the source's samples.
    VorelDngBilinearInterpolator(const VorelDngMosaicInfo &mosaic, int32_t rowStep, int32_t columnStep);
    // The patterns point into themselves.
    VorelDngBilinearInterpolator(const VorelDngBilinearInterpolator &) = delete;
    VorelDngBilinearInterpolator &operator=(const VorelDngBilinearInterpolator &) = delete;

    // In four threads, one for each quadrant of src. Ends early when the develop is cancelled.
    void interpolate(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst, uint32_t plane = 0);
    // area: of the full output, whose first pixel is that of the first sample of src.
    void interpolate(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst,
                     const vorel::DngRect &area, uint32_t plane = 0);

  private:
    // The usual mosaic, for which there are rows without tables.
    struct Bayer {
        bool is = false;
        bool greenFirst = false;  // whether cell 0, 0 has the colour of plane 1
        uint32_t plane = 0;       // 0 or 2: of the other colour of row 0
    };

    // Columns [left, right) of one row.
    template <typename Sample>
    void make_row(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane, int32_t row, int32_t left,
                  int32_t right) const;
    // The same, where isBayer() says so, and from column 1 to the last but one.
    void make_bayer_row(const VorelDngImage &src, VorelDngImage &dst, uint32_t plane, int32_t row, int32_t left,
                        int32_t right) const;
    bool isBayer(const VorelDngImage &src, const VorelDngImage &dst) const;

    VorelDngBilinearPattern fPattern[vorel::kMaxDngPlanes];
    uint32_t fPlanes;
    Bayer fBayer;
};
