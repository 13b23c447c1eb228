// A map of gains over the image.
#pragma once

#include <memory>
#include <vector>

#include "dng/opcodes/area_spec.h"
#include "dng/opcodes/opcode.h"

class VorelDngGainMap {
  public:
    // Null, and a message in the log, when the stream has not as many gains as the map has points and planes.
    // byteCount: of the map. The caller owns the result.
    static VorelDngGainMap *getStream(VorelDngStream &stream, uint32_t byteCount);

    const vorel::DngPoint &getPoints() const { return points_; }
    uint32_t planes() const { return planes_; }
    double spacingV = 1, spacingH = 1, originV = 0, originH = 0;  // fractions of the image's height and width

    float gain(int32_t row, int32_t column, uint32_t plane) const {
        return gains_[(static_cast<size_t>(row) * static_cast<size_t>(points_.h) + static_cast<size_t>(column)) *
                          planes_ +
                      plane];
    }

  private:
    vorel::DngPoint points_;
    uint32_t planes_ = 0;
    std::vector<float> gains_;
};

// A walk over rows of an image. A gain depends on its place alone, wherever the walk began.
class VorelDngGainMapInterpolator {
  public:
    // Columns first, first + pitch, ... of an image of that height and width.
    VorelDngGainMapInterpolator(const VorelDngGainMap &map, const vorel::DngPoint &imageSize, int32_t first,
                                uint32_t count, int32_t pitch);

    // To the first column of a row, in one plane of the map.
    void setRow(int32_t row, uint32_t plane);
    void ResetColumn() { column_ = 0; }
    float interpolate() const {
        const Place &at = columns_[column_];
        return row_[at.index] + slopes_[at.index] * at.fraction;
    }
    void increment() { ++column_; }

  private:
    // Between the points index and index + 1.
    struct Place {
        uint32_t index = 0;
        float fraction = 0;
    };
    static Place place(double position, int32_t points);

    const VorelDngGainMap &map_;
    vorel::DngPoint size_;
    std::vector<Place> columns_;
    size_t column_ = 0;
    std::vector<float> row_, slopes_;  // of the map's points at the current row, and from each to the next
};

class VorelDngOpcodeGainMap : public VorelDngInplaceOpcode {
  public:
    explicit VorelDngOpcodeGainMap(VorelDngStream &stream);
    void doPrepare(vorel::DevelopContext &decoder, const vorel::DngRect &imageBounds, uint32_t imagePlanes,
                   uint32_t bufferPixelType) override;
    void processArea(vorel::DevelopContext &decoder, VorelDngImage &image, const vorel::DngRect &area) override;

  private:
    VorelDngAreaSpec spec_;
    std::unique_ptr<VorelDngGainMap> map_;
    bool hasPoints_ = false;
};
