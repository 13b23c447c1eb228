// The colour filter array of a raw image, and the way from its mosaic to an image with every colour at each pixel.
#pragma once

#include <cstdint>

#include "dng/base/develop_context.h"
#include "dng/base/limits.h"
#include "dng/image/image.h"
#include "dng/parse/ifd.h"
#include "dng/parse/shared.h"

class VorelDngMosaicInfo {
  public:
    static constexpr int32_t kMostCells = 8;  // of the repeat pattern in either direction

    // Takes over what the main IFD says of its filters; nothing unless the image is a mosaic.
    void parse(vorel::DevelopContext &decoder, VorelDngStream &stream, const VorelDngIFD &ifd,
               const VorelDngShared &shared);
    // The sizes, once the stage 2 image is there.
    void postParse(vorel::DevelopContext &decoder);

    bool hasPattern() const { return cfaRows > 0 && cfaColumns > 0; }

    // Rows and columns of output for each of the mosaic: 2 where columns, or rows, are staggered by half a sample.
    vorel::DngPoint getFullScale() const;
    // Of the image that interpolate() makes at a scale; 0 by 0 for scales outside of 1 to 64.
    vorel::DngPoint getDstSize(const vorel::DngPoint &scale) const;
    // The scale for a reduced develop whose larger side comes nearest to preferredSize without going below minSize;
    // 1 by 1 where the full size is as near.
    vorel::DngPoint getDownScale(uint32_t minSize, uint32_t preferredSize, double cropFactor) const;
    // The larger side of the final image at a scale.
    uint32_t getSizeForDownScale(const vorel::DngPoint &s) const;
    // Whether every block of that size holds all colours.
    bool isSafeDownScale(const vorel::DngPoint &scale) const;
    bool validSizeDownScale(const vorel::DngPoint &candidate, uint32_t minimum) const;

    // Fills dstImage from one plane of srcImage: at 1 by 1 by bilinear interpolation, else by means of blocks. Both
    // images have 16-bit samples, or both floats; others leave dstImage as it is. matrix: null, or one for each plane
    // of dstImage, which becomes the scale from full rows and columns to those of the result.
    void interpolate(vorel::DevelopContext &decoder, const VorelDngImage &srcImage, VorelDngImage &dstImage,
                     const vorel::DngPoint &scale, uint32_t plane, VorelDngMatrix *matrix);
    void interpolateGeneric(vorel::DevelopContext &decoder, const VorelDngImage &srcImage, VorelDngImage &dstImage,
                            uint32_t plane);
    void interpolateFast(vorel::DevelopContext &decoder, const VorelDngImage &srcImage, VorelDngImage &dstImage,
                         const vorel::DngPoint &scale, uint32_t plane);

    int32_t cfaRows = 0, cfaColumns = 0;  // 0: no mosaic
    uint8_t cfaPattern[kMostCells][kMostCells] = {};
    uint32_t colorPlanes = 0;
    uint8_t planeColor[vorel::kMaxDngPlanes] = {};  // the colour in the pattern that each plane takes
    uint32_t layout = 1;                            // DNG, CFALayout
    uint32_t bayerGreenSplit = 0;

    uint32_t stage2Width = 0, stage2Height = 0;
    int32_t finalRows = 0, finalColumns = 0;  // of the default final image
    double pixelAspect = 1;                   // default scale across over that down
};
