// What a stage of the develop may ask of the decoder that runs it, so that no stage has to know the decoder.
#pragma once

#include <string>

#include "dng/base/geometry.h"
#include "dng/base/matrix.h"
#include "dng/base/xy_coord.h"

class VorelDngCameraProfile;
class VorelDngImage;

namespace vorel {

// The working values of one develop, from the main IFD and the shared record.
struct DevelopValues {
    double defaultScaleH = 1, defaultScaleV = 1;
    // Of the default crop, in samples of the active area.
    double cropOriginH = 0, cropOriginV = 0, cropSizeH = 0, cropSizeV = 0;

    uint32_t colorPlanes = 0;     // of the stage 3 image
    double baselineExposure = 0;  // stops, with the profile's offset
    double shadowScale = 1;
    double stage3Gain = 1;

    VorelDngVector analogBalance;
    VorelDngVector cameraNeutral;   // AsShotNeutral; empty without one
    VorelDngXYCoord cameraWhiteXY;  // AsShotWhiteXY; zeros without one
    VorelDngMatrix cameraCalibration1, cameraCalibration2;
    std::string cameraCalibrationSignature;
};

// Where the image of a stage lies in what the opcodes of that stage were written for: of a develop of the whole image
// offset is 0, 0; of a region its image is a part.
struct OpcodeFrame {
    DngPoint offset;  // of the image's sample 0, 0
    DngPoint size;    // of the whole image: rows, columns
    bool whole = true;
};

class DevelopContext {
  public:
    virtual ~DevelopContext() = default;

    // Asked by any thread.
    virtual bool cancelled() const = 0;
    virtual bool developsPreview() const = 0;
    // stage 1 to 3, of the opcode list.
    virtual OpcodeFrame opcodeFrame(uint32_t stage) const = 0;
    virtual const DevelopValues &values() const = 0;
    // Null before they are made.
    virtual const VorelDngImage *stage2Image() const = 0;
    virtual const VorelDngImage *stage3Image() const = 0;
    // Null where the file has none that fits.
    virtual const VorelDngCameraProfile *cameraProfile() const = 0;
    // The caller owns the result. Throws std::bad_alloc.
    virtual VorelDngImage *makeDngImage(const DngRect &bounds, uint32_t planes, uint32_t pixelType) = 0;
};

}  // namespace vorel
