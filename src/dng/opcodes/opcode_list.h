// The opcodes of one stage, in the order in which they run.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dng/opcodes/opcode.h"

class VorelDngOpcodeList {
  public:
    // stage: 1 the raw image, 2 the linear one, 3 the interpolated one.
    explicit VorelDngOpcodeList(uint32_t stage) : stage_(stage) {}

    // Reads the list of byteCount bytes at offset. What does not fit into them ends it. Required: the stream stays in
    // big endian order, which the data of opcodes have.
    void parse(vorel::DevelopContext &decoder, VorelDngStream &stream, uint32_t byteCount, uint64_t offset);
    // Nothing that an opcode meets ends the develop. A cancel ends the list, and so do as many passes over the image as
    // no file needs.
    void doApply(vorel::DevelopContext &decoder, VorelDngImage *&image);
    void clear() { list_.clear(); }
    // Takes the opcode over.
    void doAppend(VorelDngOpcode *opcode);

    bool empty() const { return list_.empty(); }
    size_t count() const { return list_.size(); }

  private:
    std::vector<std::unique_ptr<VorelDngOpcode>> list_;
    uint32_t stage_;
};
