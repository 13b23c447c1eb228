// An opcode that is not known here: its bytes are kept.
#pragma once

#include <vector>

#include "dng/opcodes/opcode.h"

class VorelDngOpcodeUnknown : public VorelDngOpcode {
  public:
    VorelDngOpcodeUnknown(uint32_t opcodeId, VorelDngStream &stream) : VorelDngOpcode(opcodeId, stream) {
        const VorelDngStream body = takeBody(stream);
        bytes_.assign(body.data(), body.data() + body.length());
    }

    void doApply(vorel::DevelopContext &, VorelDngImage *&) override {}
    const std::vector<uint8_t> &bytes() const { return bytes_; }

  private:
    std::vector<uint8_t> bytes_;
};
