// What a file says, as the develop needs it.
#include "dng/driver/decoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "dng/base/rounded.h"
#include "dng/driver/region.h"
#include "dng/image/read_image.h"
#include "dng/opcodes/make_opcode.h"
#include "dng/parse/metadata_entries.h"
#include "util/atomics.h"

using vorel::rounded;

namespace {
constexpr uint32_t kPhotometricCfa = 32803;
}

VorelDngDecoder::VorelDngDecoder(const uint8_t *buffer, int32_t length)
    : file_(std::make_unique<vorel::DngFile>(buffer, static_cast<uint32_t>(std::max(length, 0)))) {}

VorelDngDecoder::~VorelDngDecoder() = default;

bool VorelDngDecoder::parse() { return parse(file_->stream); }
bool VorelDngDecoder::parse(VorelDngStream &stream) {
    if (!file_->parse(stream)) return false;
    littleEndian_ = stream.isLittleEndian();
    return true;
}
bool VorelDngDecoder::parseIFD(VorelDngStream &stream, VorelDngExif *exif, VorelDngShared *shared, VorelDngIFD *ifd,
                               uint64_t offset, uint64_t base, uint32_t parentCode) {
    return file_->parseIFD(stream, exif, shared, ifd, offset, base, parentCode);
}
bool VorelDngDecoder::validateIFD(VorelDngStream &stream, uint64_t offset, uint64_t base) {
    return file_->validateIFD(stream, offset, base);
}
bool VorelDngDecoder::validateMagic() { return file_->validateMagic(); }
void VorelDngDecoder::parseTag(VorelDngStream &stream, VorelDngExif *exif, VorelDngShared *shared, VorelDngIFD *ifd,
                               uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount,
                               uint64_t offset, uint64_t base) {
    file_->parseTag(stream, exif, shared, ifd, parentCode, tagCode, tagType, tagCount, offset, base);
}
bool VorelDngDecoder::parseMakerNote(VorelDngStream &stream, uint32_t makerNoteCount, uint64_t makerNoteOffset,
                                     uint64_t base, uint64_t minOffset, uint64_t maxOffset) {
    return file_->parseMakerNote(stream, makerNoteCount, makerNoteOffset, base, minOffset, maxOffset);
}
bool VorelDngDecoder::parseMakerNoteIFD(VorelDngStream &stream, uint64_t noteSize, uint64_t offset, uint64_t base,
                                        uint64_t minOffset, uint64_t maxOffset, uint32_t parentCode) {
    return file_->parseMakerNoteIFD(stream, noteSize, offset, base, minOffset, maxOffset, parentCode);
}
void VorelDngDecoder::parseDNGPrivateData(VorelDngStream &stream) { file_->parseDNGPrivateData(stream); }
// Required: nothing.
void VorelDngDecoder::parseSonyPrivateData(VorelDngStream &) {}
void VorelDngDecoder::postParse() { file_->postParse(); }

int32_t VorelDngDecoder::parseMetadata(CPVorelDngMetadata *metadataOut, CPVorelDngExif *exifOut,
                                       CPVorelDngExif *exifOut2) {
    return vorel::parse_metadata(*file_, metadataOut, exifOut, exifOut2);
}
int32_t VorelDngDecoder::parseExifInfo(CPVorelDngExif *exifOut) { return vorel::parse_exif_info(*file_, exifOut); }
int32_t VorelDngDecoder::parseXMPInfo(int64_t *offsetOut, int32_t *lengthOut, CPVorelDngExif *exifOut) {
    return vorel::parse_xmp_info(*file_, offsetOut, lengthOut, exifOut);
}

VorelDngOpcode *VorelDngDecoder::makeDngOpcode(uint32_t id, VorelDngStream &stream) {
    return vorel::makeDngOpcode(id, stream);
}

const VorelDngCameraProfile *VorelDngDecoder::cameraProfile() const {
    return profile_ && profile_->isValid(values_.colorPlanes) ? profile_.get() : nullptr;
}

void VorelDngDecoder::cancel() { vorel::store_relaxed(&cancelFlag_, 1); }

bool VorelDngDecoder::cancelled() const {
    return vorel::load_relaxed(&cancelFlag_) == 1 || (info_ && vorel::load_relaxed(&info_->cancelFlag) == 1);
}

void VorelDngDecoder::report(int32_t percent) const {
    if (info_) vorel::store_relaxed(&info_->progress, percent);
}

// Opcodes are big-endian, and reading them leaves the stream so.
void VorelDngDecoder::restore_byte_order() {
    if (littleEndian_) {
        file_->stream.setLittleEndian();
    } else {
        file_->stream.setBigEndian();
    }
}

bool VorelDngDecoder::prologue(const decInfo *info) {
    if (info) acceptLossless_ = info->acceptLossless == 1;
    if (!parse()) return false;
    postParse();
    if (info) {
        useUserBlackWhiteLevel(info);
        setRDArea(info);
    }
    parse_negative();
    postParse_negative();
    return true;
}

void VorelDngDecoder::useUserBlackWhiteLevel(const decInfo *info) {
    constexpr uint32_t kMostRepeats = 8;
    VorelDngIFD *main = file_->mainIFD();
    const uint32_t rows = info->userBlackRepeatRows, columns = info->userBlackRepeatColumns;
    if (!main || info->useUserLevels != 1 || rows == 0 || columns == 0 || rows > kMostRepeats ||
        columns > kMostRepeats) {
        return;
    }
    main->blackRepeatRows = rows, main->blackRepeatColumns = columns;
    std::memcpy(main->blackLevel, info->userBlackLevel, sizeof main->blackLevel);
    std::memcpy(main->whiteLevel, info->userWhiteLevel, sizeof main->whiteLevel);
}

void VorelDngDecoder::parse_negative() {
    const VorelDngIFD *main = file_->mainIFD();
    const VorelDngShared &shared = file_->shared;
    if (!main) return;
    if (!region_.set) statedArea_ = main->activeArea;
    values_.defaultScaleH = main->defaultScaleH.value(), values_.defaultScaleV = main->defaultScaleV.value();
    values_.cropOriginH = main->defaultCropOriginH.value(), values_.cropOriginV = main->defaultCropOriginV.value();
    values_.cropSizeH = main->defaultCropSizeH.value(), values_.cropSizeV = main->defaultCropSizeV.value();
    const bool mosaic = main->photometric == kPhotometricCfa;
    values_.colorPlanes = mosaic ? main->cfaPlaneCount : main->samplesPerPixel;
    values_.shadowScale = shared.shadowScale.value();
    values_.analogBalance = shared.analogBalance;
    if (shared.asShotNeutral.count() == values_.colorPlanes) values_.cameraNeutral = shared.asShotNeutral;
    values_.cameraWhiteXY = shared.asShotWhiteXY;
    values_.cameraCalibration1 = shared.cameraCalibration1, values_.cameraCalibration2 = shared.cameraCalibration2;
    values_.cameraCalibrationSignature = shared.cameraCalibrationSignature;

    // Where the file's active area lies in what stage 1 holds: of a part, that begins with its working rectangle.
    vorel::DngRect stated = statedArea_;
    if (region_.set) {
        const int32_t height = static_cast<int32_t>(stated.height()), width = static_cast<int32_t>(stated.width());
        stated = {-region_.working.top, -region_.working.left, height - region_.working.top,
                  width - region_.working.left};
    }
    linearization_ = std::make_unique<VorelDngLinearizationInfo>();
    linearization_->parse(*this, file_->stream, *main, main->activeArea, stated);
    if (mosaic) {
        mosaic_ = std::make_unique<VorelDngMosaicInfo>();
        mosaic_->parse(*this, file_->stream, *main, shared);
        vorel::start_pattern_at(*mosaic_, region_.working.top, region_.working.left);
    }
    profile_ = std::make_unique<VorelDngCameraProfile>();
    profile_->parse(file_->stream, shared.cameraProfile);
    for (const VorelDngCameraProfileInfo &info : shared.extraProfiles) {
        extraProfiles_.emplace_back().parse(file_->stream, info);
    }
    values_.baselineExposure = shared.baselineExposure.value() + profile_->baselineExposureOffset;
}

// The sizes that the picture had before it was a part of a proxy are those of this file where it does not state them.
// Private data and the original file stay in the stream, by offset: no step looks into them.
void VorelDngDecoder::postParse_negative() {
    VorelDngShared &shared = file_->shared;
    const VorelDngIFD *main = file_->mainIFD();
    if (!main) return;
    if (shared.originalDefaultCropSize[0] == 0) {
        shared.originalDefaultCropSize[0] = values_.cropSizeH, shared.originalDefaultCropSize[1] = values_.cropSizeV;
    }
    const auto fill = [&](uint32_t(&size)[2]) {
        if (size[0] != 0) return;
        size[0] = static_cast<uint32_t>(std::max(rounded(values_.cropSizeH * values_.defaultScaleH), 0));
        size[1] = static_cast<uint32_t>(std::max(rounded(values_.cropSizeV * values_.defaultScaleV), 0));
    };
    fill(shared.originalDefaultFinalSize);
    fill(shared.originalBestQualitySize);
}

void VorelDngDecoder::copy_make(char (&make)[256]) const {
    std::memset(make, 0, sizeof make);
    file_->exif.make.copy(make, sizeof make - 1);
}

void VorelDngDecoder::fill_sizes(decInfo *info) const {
    const VorelDngIFD *main = file_->mainIFD();
    const bool there = main && main->hasImage();
    info->width = there ? main->width : 0, info->height = there ? main->height : 0;
    if (!there) return;
    info->cropOriginX = rounded(values_.cropOriginH), info->cropOriginY = rounded(values_.cropOriginV);
    info->cropWidth = rounded(values_.cropSizeH), info->cropHeight = rounded(values_.cropSizeV);
    info->samplesPerPixel = main->samplesPerPixel;
    info->blackRepeatRows = main->blackRepeatRows, info->blackRepeatColumns = main->blackRepeatColumns;
    std::memcpy(info->blackLevel, main->blackLevel, sizeof info->blackLevel);
    std::memcpy(info->whiteLevel, main->whiteLevel, sizeof info->whiteLevel);
    info->compression = main->compression, info->bitsPerSample = main->bitsPerSample[0];
    info->photometric = main->photometric;
    info->orientation = file_->shared.hasBaseOrientation ? file_->shared.baseOrientation : 0;
    VorelDngReadImage reader;
    reader.acceptLossless(info->acceptLossless == 1);
    info->readable = reader.reads(*main);
}

int32_t VorelDngDecoder::parseSize(decInfo *info) {
    if (!prologue(nullptr)) return 0;
    fill_sizes(info);
    return 1;
}

int32_t VorelDngDecoder::parseSummary(VDngMetaData *out) {
    decInfo info = {};
    if (!parseSize(&info)) return 0;
    *out = {};
    out->width = info.width, out->height = info.height;
    copy_make(out->make);
    out->cropOriginX = info.cropOriginX, out->cropOriginY = info.cropOriginY;
    out->cropWidth = info.cropWidth, out->cropHeight = info.cropHeight;
    return 1;
}

int32_t VorelDngDecoder::parsePreviewSize(int32_t *widthOut, int32_t *heightOut) {
    *widthOut = *heightOut = 0;
    if (!prologue(nullptr)) return 0;
    const VorelDngIFD *preview = file_->previewIFD();
    if (preview && preview->hasImage()) {
        *widthOut = static_cast<int32_t>(preview->width), *heightOut = static_cast<int32_t>(preview->height);
    }
    return 1;
}

// The main image's samples, kept as they are stored; refused as a develop would be.
int32_t VorelDngDecoder::parseSize_for_RD(decInfo *info) {
    acceptLossless_ = info->acceptLossless == 1;
    if (!prologue(nullptr) || !file_->mainIFD()) return 0;
    fill_sizes(info);
    copy_make(info->make);
    info_ = info;
    readStage1Image();
    info_ = nullptr;
    retainedRaw_ = std::move(stage1_);
    if (!retainedRaw_) return 0;
    retainedCodes_ = linearization_->codes();
    finalizeRegionHandle();
    return 1;
}

void VorelDngDecoder::finalizeRegionHandle() {
    file_.reset();
    linearization_.reset(), mosaic_.reset(), profile_.reset();
    extraProfiles_.clear();
    stage1_.reset(), stage2_.reset(), stage3_.reset(), finalImage_.reset(), mask_.reset();
    list1_.clear(), list2_.clear(), list3_.clear();
}
