#include "dng/opcodes/trim_bounds.h"

#include "dng/opcodes/area_spec.h"

VorelDngOpcodeTrimBounds::VorelDngOpcodeTrimBounds(VorelDngStream &stream) : VorelDngOpcode(6, stream) {
    VorelDngStream body = takeBody(stream);
    bounds_ = vorel::read_rect(body);
    setUsable(!body.failed());
}

void VorelDngOpcodeTrimBounds::doApply(vorel::DevelopContext &decoder, VorelDngImage *&image) {
    if (!image) return;
    findFrame(decoder, *image);
    if (!frame().whole) return;
    const vorel::DngRect rect = vorel::intersection(bounds_, image->getBounds());
    if (!rect.empty()) image->doTrim(rect);
}
