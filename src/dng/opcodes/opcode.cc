#include "dng/opcodes/opcode.h"

#include <algorithm>
#include <memory>

#include "dng/base/quadrants.h"

using vorel::DngRect;

namespace {

constexpr uint32_t kNewestVersion = 0x01040000;  // DNG 1.4.0.0

struct InplaceWork {
    VorelDngInplaceOpcode &opcode;
    vorel::DevelopContext &decoder;
    VorelDngImage &image;
};

void inplaceOpcodeTask(InplaceWork &work, const DngRect &rect) {
    work.opcode.processArea(work.decoder, work.image, rect);
}

}  // namespace

VorelDngOpcode::VorelDngOpcode(uint32_t opcodeId, VorelDngStream &stream, uint32_t passes)
    : id_(opcodeId),
      minVersion_(stream.get_QMUINT32()),
      flags_(stream.get_QMUINT32()),
      passes_(passes),
      wasReadFromStream_(true) {}

VorelDngStream VorelDngOpcode::takeBody(VorelDngStream &stream, uint32_t *declared) {
    const uint32_t count = stream.get_QMUINT32();
    if (declared) *declared = count;
    const uint64_t start = std::min<uint64_t>(stream.getPosition(), stream.length());
    const uint32_t there = std::min(count, static_cast<uint32_t>(stream.length() - start));
    stream.setPosition(start + count);
    VorelDngStream body(stream.data() + start, there);
    body.setBigEndian();
    return body;
}

bool VorelDngOpcode::aboutToApply(vorel::DevelopContext &decoder) {
    if ((flags_ & kSkipInPreview) && decoder.developsPreview()) return false;
    if (wasReadFromStream_ && minVersion_ > kNewestVersion) return false;
    return usable_ && isValidForNegative(decoder) && !isNOP();
}

void VorelDngOpcode::findFrame(const vorel::DevelopContext &decoder, const VorelDngImage &image) {
    frame_ = decoder.opcodeFrame(stage_);
    // A whole image may have been trimmed.
    whole_ = frame_.whole ? toFrame(image.getBounds()) : DngRect{0, 0, frame_.size.v, frame_.size.h};
}

DngRect VorelDngOpcode::toFrame(const DngRect &rect) const {
    return {rect.top + frame_.offset.v, rect.left + frame_.offset.h, rect.bottom + frame_.offset.v,
            rect.right + frame_.offset.h};
}

vorel::DngPoint VorelDngFilterOpcode::getSrcTileSize(const vorel::DngPoint &dstTileSize, const DngRect &imageBounds) {
    return getSrcArea({0, 0, dstTileSize.v, dstTileSize.h}, imageBounds).size();
}

void VorelDngFilterOpcode::doApply(vorel::DevelopContext &decoder, VorelDngImage *&image) {
    if (!image || image->getBounds().empty()) return;
    findFrame(decoder, *image);
    const DngRect bounds = image->getBounds();
    const std::unique_ptr<VorelDngImage> made(decoder.makeDngImage(bounds, image->planes(), image->getPixelType()));
    if (made->getBounds() != bounds) return;
    doPrepare(decoder, bounds, image->planes(), getBufferPixelType(image->getPixelType()));
    processArea(decoder, *image, *made, getModifiedBounds(bounds));
    image->swap(*made);
}

void VorelDngInplaceOpcode::doApply(vorel::DevelopContext &decoder, VorelDngImage *&image) {
    if (!image || image->getBounds().empty()) return;
    findFrame(decoder, *image);
    const DngRect bounds = image->getBounds();
    doPrepare(decoder, bounds, image->planes(), getBufferPixelType(image->getPixelType()));
    InplaceWork work = {*this, decoder, *image};
    vorel::run_quadrants(getModifiedBounds(bounds), inplaceOpcodeTask, work);
}
