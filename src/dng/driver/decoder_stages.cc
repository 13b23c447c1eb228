// From stored samples to the final picture.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "dng/base/limits.h"
#include "dng/base/rounded.h"
#include "dng/denoise/noise_reduction.h"
#include "dng/driver/decoder.h"
#include "dng/driver/region.h"
#include "dng/image/read_image.h"
#include "dng/render/render.h"
#include "util/atomics.h"

using vorel::DngPoint;
using vorel::DngRect;
using vorel::ImageFill;
using vorel::rounded;

namespace {

constexpr uint32_t kCompressionJpeg = 7;
constexpr uint32_t kRgbaBytes = 4;

DngRect at_origin(const DngRect &rect) {
    return {0, 0, static_cast<int32_t>(rect.height()), static_cast<int32_t>(rect.width())};
}

}  // namespace

VorelDngImage *VorelDngDecoder::makeDngImage(const DngRect &bounds, uint32_t planes, uint32_t pixelType) {
    return new VorelDngImage(bounds, planes, pixelType, ImageFill::kNone);
}

// Of a part, only what it needs is read; the rows and columns of stage 1 are then those of the file.
void VorelDngDecoder::readStage1Image() {
    VorelDngIFD *main = file_->mainIFD();
    if (!main || !main->hasImage()) return;
    if (main->compression == kCompressionJpeg && !main->isBaselineJPEG() && !acceptLossless_) {
        cancel();
        if (info_) vorel::store_relaxed(&info_->cancelFlag, 1);
        return;
    }
    DngRect bounds = {0, 0, static_cast<int32_t>(main->height), static_cast<int32_t>(main->width)};
    if (region_.set) bounds = vorel::stored_area(region_.working, statedArea_);
    VorelDngReadImage reader;
    reader.acceptLossless(acceptLossless_);
    restore_byte_order();
    const ImageFill fill = reader.fillsAll(*main, file_->stream) ? ImageFill::kNone : ImageFill::kZero;
    auto image = std::make_unique<VorelDngImage>(bounds, main->samplesPerPixel, main->pixelType(), fill);
    if (reader.read(*main, file_->stream, *image)) stage1_ = std::move(image);
}

void VorelDngDecoder::parse_opcode_lists() {
    const VorelDngIFD *main = file_->mainIFD();
    if (!main) return;
    VorelDngOpcodeList *const lists[3] = {&list1_, &list2_, &list3_};
    for (int i = 0; i < 3; ++i) {
        lists[i]->clear();
        if (main->opcodeListLength[i] == 0) continue;
        lists[i]->parse(*this, file_->stream, main->opcodeListLength[i], main->opcodeListOffset[i]);
    }
}

void VorelDngDecoder::apply_opcodes(VorelDngOpcodeList &list, std::unique_ptr<VorelDngImage> *image) {
    VorelDngImage *raw = image->release();
    try {
        list.doApply(*this, raw);
    } catch (...) {
        image->reset(raw);
        throw;
    }
    image->reset(raw);
}

// Nothing looks at the mask yet.
void VorelDngDecoder::readTransparencyMask() {
    VorelDngIFD *mask = file_->maskIFD();
    if (mask) mask_.reset(readPreviewImage(*mask));
}

// Required: nothing.
void VorelDngDecoder::validateRawImageDigest() {}

// Opcode list 1 changes stage 1, so that the kept samples of a handle were copied for it.
void VorelDngDecoder::buildStage2Image() {
    if (stage1_) apply_opcodes(list1_, &stage1_);
    if (cancelled()) return;
    if (!list1_.empty()) linearization_->acceptAllCodes();
    linearization_->postParse(*this);
    doBuildStage2();
    stage1_.reset(), handleRaw_ = nullptr;
    if (stage2_) apply_opcodes(list2_, &stage2_);
}

void VorelDngDecoder::doBuildStage2() {
    const VorelDngImage *source = stage1_ ? stage1_.get() : handleRaw_;
    const DngRect &area = linearization_->activeArea();
    if (area.empty()) return;
    // An opcode may have cut stage 1: what is missing is black.
    const bool all = intersection(area, source->getBounds()) == area;
    const bool floats = source->isFloat() || source->getPixelType() == kPixelLong;
    stage1Float_ = source->isFloat();
    stage2_ = std::make_unique<VorelDngImage>(at_origin(area), source->planes(), floats ? kPixelFloat : kPixelShort,
                                              all ? ImageFill::kNone : ImageFill::kZero);
    linearization_->doLinearize(*this, *source, *stage2_);
}

void VorelDngDecoder::buildStage3Image(int32_t plane) {
    if (mosaic_) mosaic_->postParse(*this);
    doBuildStage3(plane, nullptr);
    stage2_.reset();
    if (!stage3_) return;
    if (kReleaseLevel > 2) mosaic_.reset();
    const auto adjust = [](double *scale, double *origin, double *size) {
        if (*scale <= 1) return;
        const int32_t whole = rounded(*scale);
        *origin *= whole, *size *= whole, *scale /= whole;
    };
    adjust(&rowScale_, &values_.cropOriginV, &values_.cropSizeV);
    adjust(&columnScale_, &values_.cropOriginH, &values_.cropSizeH);
    if (!cancelled()) apply_opcodes(list3_, &stage3_);
    stage3Float_ = stage3_->isFloat();
    values_.colorPlanes = stage3_->planes();
}

void VorelDngDecoder::doBuildStage3(int32_t plane, VorelDngMatrix *matrix) {
    if (!mosaic_ || !mosaic_->hasPattern()) {
        stage3_ = std::move(stage2_);
        return;
    }
    if (stage2_->planes() > 1 && plane < 0) return doMergeStage3(matrix);
    doInterpolateStage3(plane, matrix);
    const DngRect &from = stage2_->getBounds();
    if (!stage3_) return;
    rowScale_ = static_cast<double>(stage3_->getBounds().height()) / from.height();
    columnScale_ = static_cast<double>(stage3_->getBounds().width()) / from.width();
}

void VorelDngDecoder::doMergeStage3(VorelDngMatrix *matrix) {
    doInterpolateStage3(0, matrix);
    values_.stage3Gain = std::exp2(stage3GainExponent_.value());
}

void VorelDngDecoder::doInterpolateStage3(int32_t plane, VorelDngMatrix *matrix) {
    const DngPoint whole = {1, 1};
    DngPoint scale = mosaic_->getDownScale(minimumSize_, preferredSize_, cropFactor_);
    DngPoint size = mosaic_->getDstSize(whole);
    fullScale_ = mosaic_->getFullScale();
    if (!(scale == whole)) {
        const DngRect &from = stage2_->getBounds();
        const uint32_t height = info_ ? info_->previewHeight : 0, width = info_ ? info_->previewWidth : 0;
        // Blocks of less than two rows or columns would hold no whole pattern, and the picture would be black.
        if (height == 0 || width == 0 || from.height() / 2 < height || from.width() / 2 < width) {
            scale = whole;
        } else {
            size = {static_cast<int32_t>(height), static_cast<int32_t>(width)};
            reduced_ = true;
        }
    }
    if (size.v <= 0 || size.h <= 0) return;
    stage3_.reset(makeDngImage({0, 0, size.v, size.h}, mosaic_->colorPlanes, stage2_->getPixelType()));
    mosaic_->interpolate(*this, *stage2_, *stage3_, scale, static_cast<uint32_t>(std::max(plane, 0)), matrix);
}

int32_t VorelDngDecoder::rendering() {
    VorelDngRender render(*this);
    if (cancelled()) return 0;
    std::unique_ptr<VorelDngImage> picture(render.doRender(*this));
    if (cancelled() || !picture) return 0;
    finalImage_ = std::move(picture);
    return 1;
}

// The cancel test stands between all steps.
bool VorelDngDecoder::develop(decInfo *info) {
    if (cancelled() || (!stage1_ && !handleRaw_)) return false;
    if (file_->maskIFD()) readTransparencyMask();
    validateRawImageDigest();
    if (cancelled()) return false;
    buildStage2Image();
    report(20);
    if (cancelled() || !stage2_) return false;
    buildStage3Image(0);
    report(45);
    if (cancelled() || !stage3_) return false;
    if (!rendering()) return false;
    stage3_.reset();
    report(90);
    finalizeImageByRD(info);
    return !cancelled();
}

const VorelDngImage *VorelDngDecoder::decodeStage(int32_t stage, decInfo *info) {
    info_ = info;
    if (!prologue(info)) return nullptr;
    readStage1Image();
    parse_opcode_lists();
    if (cancelled() || !stage1_ || stage == 1) return stage1_.get();
    buildStage2Image();
    if (cancelled() || !stage2_ || stage == 2) return stage2_.get();
    buildStage3Image(0);
    return cancelled() ? nullptr : stage3_.get();
}

int32_t VorelDngDecoder::decode(decInfo *info) {
    info_ = info;
    if (!prologue(info)) return 0;
    preferredSize_ = info ? info->preferredSize : 0;
    if (region_.set && region_.working.empty()) return !cancelled();
    readStage1Image();
    parse_opcode_lists();
    report(10);
    if (cancelled() || !stage1_) return 0;
    getRegionStage1Image(info);
    return develop(info);
}

int32_t VorelDngDecoder::decode(uint8_t *out, decInfo *info) {
    const uint32_t width = info->width, height = info->height;
    std::memset(out, 0, size_t{width} * height * kRgbaBytes);
    if (!decode(info)) return 0;
    put_picture(out, width, height, info);
    report(100);
    return !cancelled();
}

// width, height: what out has room for. Whatever lies outside of the picture stays as it is, cleared.
void VorelDngDecoder::put_picture(uint8_t *out, uint32_t width, uint32_t height, decInfo *info) {
    const bool part = info->regionTop || info->regionBottom || info->regionLeft || info->regionRight;
    int64_t from_row = 0, from_column = 0, to_row = 0, to_column = 0;
    if (part) {
        if (region_.set) {
            info->width = region_.wanted.width(), info->height = region_.wanted.height();
            to_row = std::max(-int64_t{region_.wanted.top}, int64_t{0});
            to_column = std::max(-int64_t{region_.wanted.left}, int64_t{0});
        }
    } else {
        from_row = rounded(values_.cropOriginV), from_column = rounded(values_.cropOriginH);
    }
    const uint64_t stride = uint64_t{info->width} * kRgbaBytes;
    // Rows that there is room for, should the rectangle be larger than the caller's buffer.
    const uint64_t room = uint64_t{width} * height * kRgbaBytes;
    const int64_t rows = stride ? static_cast<int64_t>(std::min<uint64_t>(info->height, room / stride)) : 0;
    if (finalImage_ && from_row >= 0 && from_column >= 0) {
        const DngRect &bounds = finalImage_->getBounds();
        const int64_t high = std::min(int64_t{bounds.height()} - from_row, rows - to_row);
        const int64_t wide = std::min(int64_t{bounds.width()} - from_column, int64_t{info->width} - to_column);
        if (high > 0 && wide > 0) {
            const uint8_t *source = finalImage_->at<uint8_t>(bounds.top + static_cast<int32_t>(from_row),
                                                             bounds.left + static_cast<int32_t>(from_column));
            vorel::expand_rows(
                source, finalImage_->buffer().rowStep,
                out + static_cast<uint64_t>(to_row) * stride + static_cast<uint64_t>(to_column) * kRgbaBytes, stride,
                static_cast<uint32_t>(wide), static_cast<uint32_t>(high));
        }
    }
    if (info->noiseStrength > 0 && rows > 0) {
        VorelDngNoiseReduction(info->noiseStrength)
            .doNoiseReductionBiLateralFilter(*this, out, out, static_cast<int32_t>(info->width),
                                             static_cast<int32_t>(rows));
    }
}
