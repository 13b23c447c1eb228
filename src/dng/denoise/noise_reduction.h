// Noise reduction of finished pictures, in YUV, and of mosaics.
#pragma once

#include <cstdint>

#include "dng/base/develop_context.h"
#include "dng/image/image.h"

class VorelDngNoiseReduction {
  public:
    // strength: how often chroma is smoothed; below 1 only spikes go.
    explicit VorelDngNoiseReduction(int32_t strength) : strength_(strength) {}
    // For mosaics: VorelDngMosaicInfo, or another record with its pattern.
    template <typename MosaicInfo>
    requires requires(const MosaicInfo &info) { info.cfaPattern[0][0]; }
    explicit VorelDngNoiseReduction(const MosaicInfo &mosaicInfo)
        : cfaRows_(mosaicInfo.cfaRows), cfaColumns_(mosaicInfo.cfaColumns), rank_clip_(true) {
        for (int row = 0; row < 8; ++row) {
            for (int column = 0; column < 8; ++column) cfaPattern_[row][column] = mosaicInfo.cfaPattern[row][column];
        }
    }

    // Of RGBA, by rgba8888_to_yuv420() and yuv420_to_rgba8888(). Required: the first makes full range, the second
    // takes video range, so contrast grows. Cancelled, outRgba stays as it was. inRgba may be outRgba. All throw
    // std::bad_alloc.
    void doNoiseReductionBiLateralFilter(vorel::DevelopContext &decoder, const uint8_t *inRgba, uint8_t *outRgba,
                                         int32_t width, int32_t height);
    // Of the pixels of rect alone, as if they were the picture; the others of outRgba stay.
    void doNoiseReductionBiLateralFilter(vorel::DevelopContext &decoder, const uint8_t *inRgba, uint8_t *outRgba,
                                         int32_t width, int32_t height, const vorel::DngRect &rect);
    // Of 8-bit RGB images of the same bounds, by Bitmap2Yuv420p() and Yuv420p2Bitmap(); dst may be src.
    void doNoiseReductionBiLateralFilter(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst);

    // Mosaics of 16 bits, each sample by its neighbours of the same colour; the samples of rect alone, or all. Row by
    // row, since without rank clipping a sample takes over from the one before it. Other images are left alone.
    void doNoiseReduction(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst,
                          const vorel::DngRect &rect);
    void doNoiseReduction(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst);
    void doNoiseReduction(vorel::DevelopContext &decoder, VorelDngImage &image);

    // The neighbours of a sample in a plane of height x width samples, scaled to 0 to 1, that lie in a window of so
    // many rows and columns around it; returns how many. Required: on odd sites (row + column odd) all odd sites count
    // as the same colour, on even ones those at even distances in both directions.
    static int32_t getNeighborPixels(const uint16_t *source, double *dest, int32_t r, int32_t c, int32_t height,
                                     int32_t width, int32_t window);

    // Off: by weights instead.
    void setRankClip(bool on) { rank_clip_ = on; }

  private:
    // Of each parity of row + column.
    struct Tolerance {
        double values[2] = {0, 0};
        bool known[2] = {false, false};
    };
    double clipped(double *neighbours, int32_t count, double centre) const;
    static double weighted(const double *neighbours, int32_t count, double centre, double &tolerance, bool &known);

    int32_t strength_ = 0;
    int32_t cfaRows_ = 0, cfaColumns_ = 0;
    uint8_t cfaPattern_[8][8] = {};
    bool rank_clip_ = false;
    double high_offset_ = 0.0, low_offset_ = -0.0;
};
