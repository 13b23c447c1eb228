// The image cut to a rectangle.
#pragma once

#include "dng/opcodes/opcode.h"

// A region of the image is not cut: it is the same region whatever lies around it.
class VorelDngOpcodeTrimBounds : public VorelDngOpcode {
  public:
    explicit VorelDngOpcodeTrimBounds(VorelDngStream &stream);
    void doApply(vorel::DevelopContext &decoder, VorelDngImage *&image) override;

  private:
    vorel::DngRect bounds_;
};
