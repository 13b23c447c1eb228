// Opcodes that change each sample by itself: through a table or a polynomial, or by a number for its row or column.
#pragma once

#include <vector>

#include "dng/opcodes/area_spec.h"
#include "dng/opcodes/opcode.h"

// 16-bit samples alone.
class VorelDngOpcodeMapTable : public VorelDngInplaceOpcode {
  public:
    explicit VorelDngOpcodeMapTable(VorelDngStream &stream);
    bool isNOP() const override { return entries_.empty(); }
    void doPrepare(vorel::DevelopContext &decoder, const vorel::DngRect &imageBounds, uint32_t imagePlanes,
                   uint32_t bufferPixelType) override;
    void processArea(vorel::DevelopContext &decoder, VorelDngImage &image, const vorel::DngRect &area) override;

  private:
    VorelDngAreaSpec spec_;
    std::vector<uint16_t> entries_;
    std::vector<uint16_t> table_;  // of 65536: the last entry stands for all behind it
};

class VorelDngOpcodeMapPolynomial : public VorelDngInplaceOpcode {
  public:
    static constexpr uint32_t kMostDegree = 8;

    explicit VorelDngOpcodeMapPolynomial(VorelDngStream &stream);
    void processArea(vorel::DevelopContext &decoder, VorelDngImage &image, const vorel::DngRect &area) override;

  private:
    VorelDngAreaSpec spec_;
    uint32_t degree_ = 0;
    double coefficients_[kMostDegree + 1] = {};
};

namespace vorel {

// A list of numbers for the rows, or the columns, of an area. Those without a number stay as they are.
class NumbersOfAnArea : public VorelDngInplaceOpcode {
  protected:
    NumbersOfAnArea(uint32_t opcodeId, VorelDngStream &stream);

    VorelDngAreaSpec spec_;
    std::vector<float> numbers_;
};

}  // namespace vorel

// Adds a fraction of the range, which the sum does not leave.
class VorelDngOpcodeDeltaPerRow : public vorel::NumbersOfAnArea {
  public:
    explicit VorelDngOpcodeDeltaPerRow(VorelDngStream &stream) : NumbersOfAnArea(10, stream) {}
    void processArea(vorel::DevelopContext &decoder, VorelDngImage &image, const vorel::DngRect &area) override;
};
class VorelDngOpcodeDeltaPerColumn : public vorel::NumbersOfAnArea {
  public:
    explicit VorelDngOpcodeDeltaPerColumn(VorelDngStream &stream) : NumbersOfAnArea(11, stream) {}
    void processArea(vorel::DevelopContext &decoder, VorelDngImage &image, const vorel::DngRect &area) override;
};
// Multiplies, and likewise.
class VorelDngOpcodeScalePerRow : public vorel::NumbersOfAnArea {
  public:
    explicit VorelDngOpcodeScalePerRow(VorelDngStream &stream) : NumbersOfAnArea(12, stream) {}
    void processArea(vorel::DevelopContext &decoder, VorelDngImage &image, const vorel::DngRect &area) override;
};
class VorelDngOpcodeScalePerColumn : public vorel::NumbersOfAnArea {
  public:
    explicit VorelDngOpcodeScalePerColumn(VorelDngStream &stream) : NumbersOfAnArea(13, stream) {}
    void processArea(vorel::DevelopContext &decoder, VorelDngImage &image, const vorel::DngRect &area) override;
};
