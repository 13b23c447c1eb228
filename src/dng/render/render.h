// From the colours of a camera to a finished picture.
#pragma once

#include <cstdint>
#include <memory>

#include "dng/base/develop_context.h"
#include "dng/base/matrix.h"
#include "dng/colour/color_space.h"
#include "dng/colour/function_table.h"
#include "dng/colour/hue_sat_map.h"
#include "dng/image/image.h"

// One render of one stage 3 image, whose samples are 16 bits or floats of 0 to 1.
class VorelDngRender {
  public:
    explicit VorelDngRender(vorel::DevelopContext &decoder);

    // Settings.
    double whiteX = 0, whiteY = 0;  // zeros: as shot
    double exposure = 0;            // stops
    double shadows = 5.0;           // thousandths of white that become black
    uint32_t maximumSize = 0;       // 0: no limit
    const VorelDng1dFunction *toneCurve;
    const VorelDngColorSpace *finalSpace;

    // The stage 3 image as 8-bit RGB, which the caller owns; the four quadrants on a thread each. Throws
    // std::bad_alloc. A cancelled render leaves rows that were not done.
    VorelDngImage *doRender(vorel::DevelopContext &decoder);
    // Matrices and tables, for the image that the decoder has.
    void prepareRender();
    // The pixels of rect, which lies within both images. After prepareRender(); by any thread.
    void performRender(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst,
                       const vorel::DngRect &rect) const;

    const VorelDngVector &cameraWhite() const { return cameraWhite_; }
    const VorelDngMatrix &cameraToRGB() const { return cameraToRGB_; }
    const VorelDngMatrix &rgbToFinal() const { return rgbToFinal_; }

  private:
    void prepareColours();
    void prepareCurves();
    VorelDngXYCoord white(class VorelDngColorSpec &spec) const;
    // One step after another, as row_functions.h has them: any number of planes, any final space.
    void renderRowPlainly(const VorelDngImage &src, VorelDngImage &dst, int32_t row, const vorel::DngRect &rect,
                          float *buffer) const;

    vorel::DevelopContext *decoder_;
    VorelDngVector cameraWhite_;
    VorelDngMatrix cameraToRGB_;  // to linear ProPhoto
    std::unique_ptr<VorelDngHueSatMap> hueSatMap_, lookTable_;
    VorelDng1dTable exposureRamp_, tone_;
    VorelDngMatrix rgbToFinal_;
    VorelDng1dTable encodeGamma_;
    std::unique_ptr<VorelDng1dTable> hueSatEncode_, hueSatDecode_, lookEncode_, lookDecode_;
    const struct EncodeTable *encodeTable_ = nullptr;  // null: the final curve is not sRGB's
};
