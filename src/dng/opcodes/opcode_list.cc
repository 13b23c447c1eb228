#include "dng/opcodes/opcode_list.h"

#include <algorithm>

#include "dng/base/limits.h"
#include "dng/opcodes/make_opcode.h"

void VorelDngOpcodeList::parse(vorel::DevelopContext &, VorelDngStream &stream, uint32_t byteCount, uint64_t offset) {
    constexpr uint32_t kHead = 16;  // id, version, flags and count of bytes
    clear();
    stream.setBigEndian();
    stream.setPosition(offset);
    if (offset > stream.length()) return;
    VorelDngStream list(stream.data() + offset, std::min(byteCount, static_cast<uint32_t>(stream.length() - offset)));
    list.setBigEndian();
    const uint32_t count = std::min(list.get_QMUINT32(), vorel::kMaxOpcodes);
    while (list_.size() < count && list.holds(list.getPosition(), kHead)) {
        const uint32_t id = list.get_QMUINT32();
        doAppend(vorel::makeDngOpcode(id, list));
    }
    stream.setPosition(offset + list.getPosition());
}

void VorelDngOpcodeList::doApply(vorel::DevelopContext &decoder, VorelDngImage *&image) {
    uint32_t passes = 0;
    for (const std::unique_ptr<VorelDngOpcode> &opcode : list_) {
        if (decoder.cancelled()) return;
        if (!opcode->aboutToApply(decoder)) continue;
        passes += opcode->passes();
        if (passes > vorel::kMaxImagePasses) return;
        opcode->doApply(decoder, image);
    }
}

void VorelDngOpcodeList::doAppend(VorelDngOpcode *opcode) {
    if (!opcode) return;
    std::unique_ptr<VorelDngOpcode> owned(opcode);
    owned->setStage(stage_);
    list_.push_back(std::move(owned));
}
