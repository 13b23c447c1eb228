// Developing a part of the picture.
#include <algorithm>
#include <cstring>

#include "dng/driver/decoder.h"
#include "dng/driver/region.h"

using vorel::DngPoint;
using vorel::DngRect;

namespace {

// Copies rect of `from` into a new image that begins at 0, 0.
std::unique_ptr<VorelDngImage> part_of(const VorelDngImage &from, const DngRect &rect) {
    const DngRect bounds = {0, 0, static_cast<int32_t>(rect.height()), static_cast<int32_t>(rect.width())};
    auto part = std::make_unique<VorelDngImage>(bounds, from.planes(), from.getPixelType(), vorel::ImageFill::kNone);
    if (part->getBounds().empty()) return part;
    const VorelDngPixelBuffer &source = from.buffer(), &target = part->buffer();
    const size_t bytes = size_t{rect.width()} * from.planes() * source.pixelSize;
    for (int32_t row = 0; row < bounds.bottom; ++row) {
        const size_t at = static_cast<size_t>(rect.top + row - source.area.top) * static_cast<size_t>(source.rowStep) +
                          static_cast<size_t>(rect.left - source.area.left) * static_cast<size_t>(source.colStep);
        std::memcpy(static_cast<uint8_t *>(target.data) +
                        static_cast<size_t>(row) * static_cast<size_t>(target.rowStep) * target.pixelSize,
                    static_cast<const uint8_t *>(source.data) + at * source.pixelSize, bytes);
    }
    return part;
}

int32_t clamped(int64_t value, int64_t most) { return static_cast<int32_t>(std::clamp<int64_t>(value, 0, most)); }

}  // namespace

// The main IFD's active area becomes that of the working rectangle, which stage 1 is cut to.
void VorelDngDecoder::setRDArea(const decInfo *info) {
    VorelDngIFD *main = file_->mainIFD();
    region_ = {};
    if (!main || !main->hasImage() || info->regionTop >= info->regionBottom || info->regionLeft >= info->regionRight)
        return;
    statedArea_ = main->activeArea;
    region_.set = true;
    region_.wanted = {info->regionTop, info->regionLeft, info->regionBottom, info->regionRight};
    // Patterns of more than two rows or columns are interpolated over up to 7, and bad pixels are mended over up to 4
    // before that.
    const bool wide = main->cfaRepeatRows > 2 || main->cfaRepeatColumns > 2 || main->opcodeListLength[0] != 0 ||
                      main->opcodeListLength[1] != 0 || main->opcodeListLength[2] != 0;
    const int32_t v = region_.marginV = vorel::region_margin(info->regionTop, wide);
    const int32_t h = region_.marginH = vorel::region_margin(info->regionLeft, wide);
    const int64_t height = statedArea_.height(), width = statedArea_.width();
    const DngRect inside =
        intersection(region_.wanted, {0, 0, static_cast<int32_t>(height), static_cast<int32_t>(width)});
    if (!inside.empty()) {
        region_.working = {clamped(int64_t{info->regionTop} - v, height), clamped(int64_t{info->regionLeft} - h, width),
                           clamped(int64_t{info->regionBottom} + v, height),
                           clamped(int64_t{info->regionRight} + h, width)};
    }
    main->activeArea = {0, 0, static_cast<int32_t>(region_.working.height()),
                        static_cast<int32_t>(region_.working.width())};
}

void VorelDngDecoder::getRegionStage1Image(const decInfo *) {
    const VorelDngImage *source = stage1_ ? stage1_.get() : handleRaw_;
    if (!region_.set) return;
    stage1_ = part_of(*source, vorel::stored_area(region_.working, statedArea_));
}

void VorelDngDecoder::finalizeImageByRD(const decInfo *) {
    if (!region_.set || !finalImage_) return;
    const int64_t height = statedArea_.height(), width = statedArea_.width();
    const int32_t top = std::min(region_.marginV, std::max(region_.wanted.top, 0));
    const int32_t left = std::min(region_.marginH, std::max(region_.wanted.left, 0));
    const int32_t rows = clamped(region_.wanted.bottom, height) - std::max(region_.wanted.top, 0);
    const int32_t columns = clamped(region_.wanted.right, width) - std::max(region_.wanted.left, 0);
    const DngRect cut = intersection({top, left, top + rows, left + columns}, finalImage_->getBounds());
    finalImage_ = part_of(*finalImage_, cut);
}

vorel::OpcodeFrame VorelDngDecoder::opcodeFrame(uint32_t stage) const {
    const VorelDngIFD *main = file_->mainIFD();
    vorel::OpcodeFrame frame;
    frame.whole = !region_.set;
    if (stage == 1) {
        const DngRect origin = vorel::stored_area(region_.working, statedArea_);
        if (region_.set) frame.offset = {origin.top, origin.left};
        frame.size = {static_cast<int32_t>(main->height), static_cast<int32_t>(main->width)};
        return frame;
    }
    frame.offset = {region_.working.top, region_.working.left};
    frame.size = statedArea_.size();
    if (stage == 3) {
        if (reduced_ && stage3_) {
            frame.size = stage3_->getBounds().size();
        } else {
            frame.offset = {frame.offset.v * fullScale_.v, frame.offset.h * fullScale_.h};
            frame.size = {frame.size.v * fullScale_.v, frame.size.h * fullScale_.h};
        }
    }
    return frame;
}

int32_t VorelDngDecoder::decode_for_RD(decInfo *info) {
    info_ = info;
    const VorelDngDecoder *handle = static_cast<const VorelDngDecoder *>(info->handle);
    if (handle && handle->cancelled()) cancel();
    if (cancelled() || !handle || !handle->retainedRawImage()) return 0;
    if (!prologue(info) || !file_->mainIFD()) return 0;
    preferredSize_ = info->preferredSize;
    if (region_.set && region_.working.empty()) return !cancelled();
    parse_opcode_lists();
    handleRaw_ = handle->retainedRawImage();
    // The file has to be the one that the handle was opened with.
    const VorelDngIFD &main = *file_->mainIFD();
    const DngRect whole = {0, 0, static_cast<int32_t>(main.height), static_cast<int32_t>(main.width)};
    if (!(handleRaw_->getBounds() == whole) || handleRaw_->planes() != main.samplesPerPixel ||
        handleRaw_->getPixelType() != main.pixelType() || handle->retainedCodes_ > linearization_->codes()) {
        return 0;
    }
    // The kept samples are read by other threads at the same time: what opcodes change is a copy.
    if (!region_.set && !list1_.empty()) stage1_ = part_of(*handleRaw_, whole);
    getRegionStage1Image(info);
    return develop(info);
}

int32_t VorelDngDecoder::decode_for_RD(uint8_t *out, decInfo *info) {
    const uint32_t width = info->width, height = info->height;
    std::memset(out, 0, size_t{width} * height * 4);
    if (!decode_for_RD(info)) return 0;
    put_picture(out, width, height, info);
    return !cancelled();
}
