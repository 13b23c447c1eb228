// The develop of one file: from its structure over stored samples, linear samples and every colour at each pixel to the
// final picture.
#pragma once

#include <memory>
#include <vector>

#include <vorel/dng.h>

#include "dng/base/develop_context.h"
#include "dng/colour/camera_profile.h"
#include "dng/image/image.h"
#include "dng/image/linearization.h"
#include "dng/mosaic/mosaic_info.h"
#include "dng/opcodes/opcode_list.h"
#include "dng/parse/dng_file.h"

namespace vorel {

// The rectangle that a develop of a part works on: the one that is wanted with a margin for what looks at neighbours.
struct DevelopRegion {
    bool set = false;
    DngRect wanted;   // in the active area, as asked for
    DngRect working;  // inside the active area, with the margin; empty when the two do not meet
    int32_t marginV = 0, marginH = 0;
};

}  // namespace vorel

// Used for one develop; or, opened for rectangles, kept for its samples. Operations throw std::bad_alloc.
class VorelDngDecoder final : public vorel::DevelopContext {
  public:
    // buffer stays the caller's.
    VorelDngDecoder(const uint8_t *buffer, int32_t length);
    ~VorelDngDecoder() override;
    VorelDngDecoder(const VorelDngDecoder &) = delete;
    VorelDngDecoder &operator=(const VorelDngDecoder &) = delete;

    // The structure: see vorel::DngFile.
    bool parse();
    bool parse(VorelDngStream &stream);
    bool parseIFD(VorelDngStream &stream, VorelDngExif *exif, VorelDngShared *shared, VorelDngIFD *ifd, uint64_t offset,
                  uint64_t base, uint32_t parentCode);
    bool validateIFD(VorelDngStream &stream, uint64_t offset, uint64_t base);
    bool validateMagic();
    void parseTag(VorelDngStream &stream, VorelDngExif *exif, VorelDngShared *shared, VorelDngIFD *ifd,
                  uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount, uint64_t offset,
                  uint64_t base);
    bool parseMakerNote(VorelDngStream &stream, uint32_t makerNoteCount, uint64_t makerNoteOffset, uint64_t base,
                        uint64_t minOffset, uint64_t maxOffset);
    bool parseMakerNoteIFD(VorelDngStream &stream, uint64_t noteSize, uint64_t offset, uint64_t base,
                           uint64_t minOffset, uint64_t maxOffset, uint32_t parentCode);
    void parseDNGPrivateData(VorelDngStream &stream);
    void parseSonyPrivateData(VorelDngStream &stream);
    void postParse();
    // The working values of the main IFD and the shared record; nothing without a main IFD.
    void parse_negative();
    void postParse_negative();
    int32_t parseMetadata(CPVorelDngMetadata *metadataOut, CPVorelDngExif *exifOut, CPVorelDngExif *exifOut2);
    int32_t parseExifInfo(CPVorelDngExif *exifOut);
    int32_t parseXMPInfo(int64_t *offsetOut, int32_t *lengthOut, CPVorelDngExif *exifOut);

    // 1; 0 when the parse failed. Without a raw image sizes are 0.
    int32_t parseSize(decInfo *info);
    // The same, and the samples are read and kept.
    int32_t parseSize_for_RD(decInfo *info);
    int32_t parsePreviewSize(int32_t *widthOut, int32_t *heightOut);
    // Sizes, maker and crop.
    int32_t parseSummary(VDngMetaData *out);
    // Leaves nothing but the kept samples.
    void finalizeRegionHandle();

    // Develops to the final image. 1, or 0 after a failure or a cancel. info may be null.
    int32_t decode(decInfo *info);
    int32_t decode(uint8_t *out, decInfo *info);
    // From the samples of info->handle.
    int32_t decode_for_RD(decInfo *info);
    int32_t decode_for_RD(uint8_t *out, decInfo *info);
    // The stages behind the parse, without the user's levels, as for a preview.
    int32_t decodePreview(decInfo *info);
    // The caller owns the result; null on failure.
    VorelDngImage *decodePreviewImage(int32_t width, int32_t height);
    int32_t decodePreviewImage(uint8_t *out, int32_t width, int32_t height);
    // The raw image at the size; see vorel_dng_develop_preview.
    int32_t developPreview(uint8_t *out, int32_t width, int32_t height, decInfo *info);

    // The image of a stage, 1 to 3, of the whole picture; null on failure.
    const VorelDngImage *decodeStage(int32_t stage, decInfo *info);

    // The stages.
    void readStage1Image();
    VorelDngImage *readPreviewImage(VorelDngIFD &ifd);
    void readTransparencyMask();
    void validateRawImageDigest();
    void setRDArea(const decInfo *info);
    void getRegionStage1Image(const decInfo *info);
    void useUserBlackWhiteLevel(const decInfo *info);
    void buildStage2Image();
    void doBuildStage2();
    void buildStage3Image(int32_t plane);
    void doBuildStage3(int32_t plane, VorelDngMatrix *matrix);
    void doInterpolateStage3(int32_t plane, VorelDngMatrix *matrix);
    void doMergeStage3(VorelDngMatrix *matrix);
    int32_t rendering();
    void finalizeImageByRD(const decInfo *info);

    VorelDngOpcode *makeDngOpcode(uint32_t id, VorelDngStream &stream);
    VorelDngImage *makeDngImage(const vorel::DngRect &bounds, uint32_t planes, uint32_t pixelType) override;

    // From any thread.
    void cancel();
    bool cancelled() const override;
    bool developsPreview() const override { return developsPreview_; }
    vorel::OpcodeFrame opcodeFrame(uint32_t stage) const override;
    const vorel::DevelopValues &values() const override { return values_; }
    const VorelDngImage *stage2Image() const override { return stage2_.get(); }
    const VorelDngImage *stage3Image() const override { return stage3_.get(); }
    const VorelDngCameraProfile *cameraProfile() const override;

    const vorel::DngFile &file() const { return *file_; }
    const VorelDngImage *retainedRawImage() const { return retainedRaw_.get(); }

  private:
    bool prologue(const decInfo *info);
    void fill_sizes(decInfo *info) const;
    void copy_make(char (&make)[256]) const;
    void restore_byte_order();
    void parse_opcode_lists();
    void apply_opcodes(VorelDngOpcodeList &list, std::unique_ptr<VorelDngImage> *image);
    // From stage 1 to the final image.
    bool develop(decInfo *info);
    void report(int32_t percent) const;
    void put_picture(uint8_t *out, uint32_t width, uint32_t height, decInfo *info);

    std::unique_ptr<vorel::DngFile> file_;
    bool littleEndian_ = true;  // the file's own order, which reading opcodes changes in the stream
    vorel::DevelopValues values_;
    vorel::DngRect statedArea_;  // the main IFD's active area, as the file has it
    vorel::DevelopRegion region_;
    VorelDngOpcodeList list1_{1}, list2_{2}, list3_{3};
    std::unique_ptr<VorelDngLinearizationInfo> linearization_;
    std::unique_ptr<VorelDngMosaicInfo> mosaic_;
    std::unique_ptr<VorelDngCameraProfile> profile_;
    std::vector<VorelDngCameraProfile> extraProfiles_;

    std::unique_ptr<VorelDngImage> stage1_, stage2_, stage3_, finalImage_, mask_;
    std::unique_ptr<VorelDngImage> retainedRaw_;
    uint32_t retainedCodes_ = 0;                // what its integers are below
    const VorelDngImage *handleRaw_ = nullptr;  // the kept samples of another decoder

    int32_t cancelFlag_ = 0;  // by relaxed atomics
    decInfo *info_ = nullptr;
    uint32_t minimumSize_ = 0, preferredSize_ = 0;
    double cropFactor_ = 1.0;
    static constexpr uint32_t kReleaseLevel = 5;  // stages free what is not needed any more
    bool developsPreview_ = false, reduced_ = false, acceptLossless_ = false;
    bool stage1Float_ = false, stage3Float_ = false;
    double rowScale_ = 1, columnScale_ = 1;
    vorel::DngPoint fullScale_ = {1, 1};
    vorel::DngSRational stage3GainExponent_ = {0, 1};
};
