// The entries with a record, and those that decode in one call.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include <vorel/util.h>

#include "dng/base/limits.h"
#include "dng/dng.h"
#include "dng/driver/decoder.h"
#include "dng/driver/dng_entry.h"
#include "dng/driver/entries.h"
#include "dng/driver/file_bytes.h"
#include "dng/driver/region.h"
#include "dng/image/area_copy.h"
#include "util/atomics.h"

using vorel::dng_entry;
using vorel::DngTarget;
using vorel::FileBytes;
using vorel::MallocBytes;

namespace {

constexpr size_t kRgbaBytes = 4;

bool has_input(const uint8_t *buffer, int32_t length) { return buffer && length > 0; }

// A develop writes width * height pixels: the caller's buffer cannot be as large as that where it does not fit in
// memory.
bool has_output(const uint8_t *out, const decInfo *info) {
    return out && info && uint64_t{info->width} * info->height <= SIZE_MAX / kRgbaBytes;
}

int32_t preview_size(const uint8_t *buffer, int32_t length, int32_t *widthOut, int32_t *heightOut) {
    if (!has_input(buffer, length) || !widthOut || !heightOut) return -1;
    return dng_entry(-1, -1, [&] {
        VorelDngDecoder(buffer, length).parsePreviewSize(widthOut, heightOut);
        return *widthOut > 0 && *heightOut > 0 ? 0 : -1;
    });
}

int32_t decode_preview(const uint8_t *buffer, int32_t length, uint8_t *out, int32_t width, int32_t height) {
    if (!out || width < 1 || height < 1) return 0;
    if (!has_input(buffer, length)) {
        convertRGB2RGBA(out, width, height, nullptr, 0, 0);
        return 0;
    }
    return dng_entry(0, 0, [&] {
        VorelDngDecoder(buffer, length).decodePreviewImage(out, width, height);
        return 0;
    });
}

// The record of a running call stands in the first words of its options.
class SharedRecord {
  public:
    SharedRecord(int32_t *options, decInfo *info) : options_(options) { put(info); }
    ~SharedRecord() { put(nullptr); }
    SharedRecord(const SharedRecord &) = delete;
    SharedRecord &operator=(const SharedRecord &) = delete;

  private:
    // Another thread may read the words to cancel the call.
    void put(decInfo *info) {
        static_assert(sizeof info <= 2 * sizeof(int32_t));
        int32_t words[2] = {};
        std::memcpy(words, &info, sizeof info);
        for (int i = 0; i < 2; ++i) vorel::store_relaxed(&options_[VDNG_OPTION_INFO + i], words[i]);
    }

    int32_t *options_;
};

// Words as they are; bytes too; of longs the upper half, of floats the fraction of the range.
uint16_t word_at(const VorelDngImage &image, int32_t row, int32_t column, uint32_t plane) {
    switch (image.getPixelType()) {
        case kPixelByte:
            return *image.at<uint8_t>(row, column, plane);
        case kPixelShort:
            return *image.at<uint16_t>(row, column, plane);
        case kPixelLong:
            return static_cast<uint16_t>(*image.at<uint32_t>(row, column, plane) >> 16);
        default:
            return static_cast<uint16_t>(vorel::rounded_sample(*image.at<float>(row, column, plane), 65535));
    }
}

bool copy_words(const VorelDngImage &image, VDngStage *out) {
    const vorel::DngRect &bounds = image.getBounds();
    const uint32_t planes = image.planes();
    uint16_t *to =
        static_cast<uint16_t *>(std::malloc(size_t{bounds.width()} * bounds.height() * planes * sizeof(uint16_t)));
    if (!to) return false;
    *out = {static_cast<int32_t>(bounds.width()), static_cast<int32_t>(bounds.height()), static_cast<int32_t>(planes),
            to};
    for (int32_t row = bounds.top; row < bounds.bottom; ++row) {
        for (int32_t column = bounds.left; column < bounds.right; ++column) {
            for (uint32_t plane = 0; plane < planes; ++plane) *to++ = word_at(image, row, column, plane);
        }
    }
    return true;
}

int32_t reduced_side(uint32_t side, int32_t factor) {
    const long reduced = std::lroundf(static_cast<float>(side) / static_cast<float>(factor));
    return static_cast<int32_t>(std::max(reduced, 1L));
}

// Where there are options, the record and the size are seen in them.
int32_t decode_buffer(const uint8_t *buffer, int32_t length, int32_t factor, const DngTarget &target, decInfo *info,
                      int32_t *options) {
    if (!has_input(buffer, length)) return VDNG_EMPTY;
    return dng_entry<int32_t>(VDNG_NO_MEMORY, VDNG_FAILED, [&]() -> int32_t {
        factor = std::max(factor, 1);
        if (!VorelDngDecoder(buffer, length).parseSize(info)) return VDNG_FAILED;
        if (info->width != 0 && info->height != 0) {
            if (info->cropWidth >= 0) info->width = static_cast<uint32_t>(info->cropWidth);
            if (info->cropHeight >= 0) info->height = static_cast<uint32_t>(info->cropHeight);
        }
        // No raw image has more pixels; a crop that claims so would cost memory for black ones.
        const uint64_t area = uint64_t{info->width} * info->height;
        if (area == 0 || area > vorel::kMaxDngPixels) return VDNG_NO_SIZE;
        const int32_t width = reduced_side(info->width, factor), height = reduced_side(info->height, factor);
        if (target.out && int64_t{width} * height > target.most_pixels) return VDNG_FAILED;
        std::optional<SharedRecord> record;
        if (options) record.emplace(options, info);
        VorelDngDecoder decoder(buffer, length);
        const size_t bytes = size_t{info->width} * info->height * kRgbaBytes;
        // Required: four times as much as is needed. Pages that are not touched cost nothing.
        const bool in_place = target.out && factor == 1;
        MallocBytes whole(in_place ? nullptr : static_cast<uint8_t *>(std::calloc(bytes, 4)));
        if (!whole && !in_place) return VDNG_NO_MEMORY;
        const int32_t status = decoder.decode(whole ? whole.get() : target.out, info) ? 1 : VDNG_FAILED;
        if (options) {
            options[VDNG_OPTION_WIDTH] = static_cast<int32_t>(info->width);
            options[VDNG_OPTION_HEIGHT] = static_cast<int32_t>(info->height);
        }
        if (status != 1) return status;
        if (factor > 1) {
            MallocBytes small;
            if (!target.out) {
                small.reset(static_cast<uint8_t *>(
                    std::calloc(static_cast<size_t>(width) * static_cast<size_t>(height), kRgbaBytes)));
                if (!small) return VDNG_NO_MEMORY;
            }
            vorel_resize_rgba8888(whole.get(), target.out ? target.out : small.get(), static_cast<int32_t>(info->width),
                                  static_cast<int32_t>(info->height), width, height);
            whole = std::move(small);
        }
        if (!target.out) *target.pixels = whole.release();
        return 1;
    });
}

int32_t decode_buffer(const uint8_t *buffer, int32_t length, const DngTarget &target, int32_t *options) {
    if (!has_input(buffer, length)) return VDNG_EMPTY;
    if (!options) return VDNG_FAILED;
    decInfo info = {};
    info.noiseStrength = options[VDNG_OPTION_STRENGTH];
    return decode_buffer(buffer, length, options[VDNG_OPTION_FACTOR], target, &info, options);
}

// 1 or a status.
int32_t read_input(const char *path, MallocBytes *bytes, int32_t *length) {
    switch (vorel::read_file(path, bytes, length)) {
        case FileBytes::kNotOpened:
            return VDNG_NOT_OPENED;
        case FileBytes::kEmpty:
            return VDNG_NO_SIZE;
        case FileBytes::kNotRead:
            return VDNG_EMPTY;
        case FileBytes::kNoMemory:
            return VDNG_NO_MEMORY;
        case FileBytes::kRead:
            break;
    }
    return 1;
}

// Required: of a failed develop of a file the same as without memory.
int32_t file_status(int32_t status) { return status == 1 ? 1 : VDNG_NO_MEMORY; }

}  // namespace

namespace vorel {

int32_t dng_decode_buffer(const uint8_t *buffer, int32_t length, int32_t factor, const DngTarget &target,
                          decInfo *info) {
    return decode_buffer(buffer, length, factor, target, info, nullptr);
}

int32_t dng_decode_file(const char *path, int32_t factor, const DngTarget &target, decInfo *info) {
    MallocBytes bytes;
    int32_t length = 0;
    const int32_t read = read_input(path, &bytes, &length);
    return read == 1 ? file_status(dng_decode_buffer(bytes.get(), length, factor, target, info)) : read;
}

}  // namespace vorel

int32_t parseDNGImageBuffer_for_RD(uint8_t *buffer, int32_t length, decInfo *info, VorelDngDecoder **handleOut) {
    return dng_entry<int32_t>(VDNG_FAILED, VDNG_FAILED, [&]() -> int32_t {
        auto decoder = std::make_unique<VorelDngDecoder>(buffer, length);
        if (!decoder->parseSize_for_RD(info)) return VDNG_FAILED;
        *handleOut = decoder.release();
        return 1;
    });
}

int32_t decodeDNGImageBuffer_for_RD(const uint8_t *buffer, int32_t length, uint8_t *out, decInfo *info,
                                    VorelDngDecoder *handle) {
    info->handle = handle;
    VorelDngDecoder(buffer, length).decode_for_RD(out, info);
    return 1;
}

extern "C" {

int32_t parseDNGImageBuffer(const uint8_t *buffer, int32_t length, decInfo *info) {
    if (!has_input(buffer, length) || !info) return -1;
    return dng_entry(-1, -1, [&] { return VorelDngDecoder(buffer, length).parseSize(info) ? 0 : -1; });
}

int32_t decodeDNGImageBuffer(const uint8_t *buffer, int32_t length, uint8_t *out, decInfo *info) {
    if (!has_output(out, info)) return 0;
    return dng_entry(0, 0, [&] {
        VorelDngDecoder(buffer, length).decode(out, info);
        return 0;
    });
}

int32_t parseDNGImageBuffer_for_RD(const uint8_t *buffer, int32_t length, decInfo *info) {
    if (!has_input(buffer, length) || !info) return -1;
    VorelDngDecoder *handle = nullptr;
    if (parseDNGImageBuffer_for_RD(const_cast<uint8_t *>(buffer), length, info, &handle) != 1) return -1;
    info->handle = handle;
    return 0;
}

int32_t decodeDNGImageBuffer_for_RD(const uint8_t *buffer, int32_t length, uint8_t *out, decInfo *info) {
    if (!has_output(out, info)) return 0;
    return dng_entry(0, 0, [&] {
        VorelDngDecoder(buffer, length).decode_for_RD(out, info);
        return 0;
    });
}

int32_t finalizeHandle(decInfo *info) {
    if (info) {
        delete static_cast<VorelDngDecoder *>(info->handle);
        info->handle = nullptr;
    }
    return 0;
}

int32_t CancleDngDecode(void *handle) {
    if (handle) static_cast<VorelDngDecoder *>(handle)->cancel();
    return 0;
}

int32_t cancelDecoding_for_RD(decInfo *info) { return CancleDngDecode(info ? info->handle : nullptr); }

int32_t VDngCancelDecoding(decInfo *info) {
    if (!info) return 0;
    vorel::store_relaxed(&info->cancelFlag, 1);
    return 1;
}

int32_t parseDNGPreviewImageBuffer(const uint8_t *buffer, int32_t length, int32_t *widthOut, int32_t *heightOut) {
    return preview_size(buffer, length, widthOut, heightOut);
}

int32_t parseDNGPreviewImageBuffer2(const uint8_t *buffer, int32_t length, int32_t *widthOut, int32_t *heightOut) {
    return preview_size(buffer, length, widthOut, heightOut);
}

int32_t decodeDNGPreviewImageBuffer(const uint8_t *buffer, int32_t length, uint8_t *out, int32_t width,
                                    int32_t height) {
    return decode_preview(buffer, length, out, width, height);
}

int32_t decodeDNGPreviewImageBuffer2(const uint8_t *buffer, int32_t length, uint8_t *out, int32_t width,
                                     int32_t height) {
    return decode_preview(buffer, length, out, width, height);
}

int32_t vorel_dng_develop_preview(const uint8_t *buffer, int32_t length, uint8_t *out, int32_t width, int32_t height,
                                  decInfo *info) {
    if (!has_input(buffer, length) || !out || !info || width < 1 || height < 1) return 0;
    return dng_entry(0, 0, [&] { return VorelDngDecoder(buffer, length).developPreview(out, width, height, info); });
}

int32_t vorel_dng_stage(const uint8_t *buffer, int32_t length, int32_t stage, decInfo *info, VDngStage *out) {
    if (!has_input(buffer, length) || stage < 1 || stage > 3 || !info || !out) return 0;
    return dng_entry(0, 0, [&] {
        VorelDngDecoder decoder(buffer, length);
        const VorelDngImage *image = decoder.decodeStage(stage, info);
        return image && copy_words(*image, out) ? 1 : 0;
    });
}

uint8_t *VDngDecodeBuffer(const uint8_t *buffer, int32_t length, int32_t, int32_t *options) {
    uint8_t *pixels = nullptr;
    return decode_buffer(buffer, length, {nullptr, &pixels, 0}, options) == 1 ? pixels : nullptr;
}

uint8_t *VDngDecodeFile(const char *path, int32_t unused, int32_t *options) {
    MallocBytes bytes;
    int32_t length = 0;
    if (vorel::read_file(path, &bytes, &length) != FileBytes::kRead) return nullptr;
    return VDngDecodeBuffer(bytes.get(), length, unused, options);
}

int32_t VDngDecodeBuffer2Buf(const uint8_t *buffer, int32_t length, uint8_t *out, int32_t, int32_t, int32_t *options) {
    return out ? decode_buffer(buffer, length, {out, nullptr, INT64_MAX}, options) : VDNG_FAILED;
}

int32_t VDngDecodeFile2Buf(const char *path, uint8_t *out, int32_t unused1, int32_t unused2, int32_t *options) {
    MallocBytes bytes;
    int32_t length = 0;
    const int32_t read = read_input(path, &bytes, &length);
    return read == 1 ? file_status(VDngDecodeBuffer2Buf(bytes.get(), length, out, unused1, unused2, options)) : read;
}

int32_t VDngParseMetaDataBA(const uint8_t *buffer, int32_t length, VDngMetaData *out) {
    if (!has_input(buffer, length) || !out) return 0;
    return dng_entry(0, 0, [&] { return VorelDngDecoder(buffer, length).parseSummary(out); });
}

int32_t VDngParseMetaData(const char *path, VDngMetaData *out) {
    MallocBytes bytes;
    int32_t length = 0;
    if (vorel::read_file(path, &bytes, &length) != FileBytes::kRead) return 0;
    return VDngParseMetaDataBA(bytes.get(), length, out);
}

void BgrToBgra(const uint8_t *src, int32_t srcStride, uint8_t *dst, int32_t dstStride, int32_t width, int32_t height) {
    if (width < 1 || height < 1 || dstStride < 0) return;
    vorel::expand_rows(src, srcStride, dst, static_cast<uint64_t>(dstStride), static_cast<uint32_t>(width),
                       static_cast<uint32_t>(height));
}

void convertRGB2RGBA(uint8_t *out, int32_t width, int32_t height, const uint8_t *pixels, int32_t sourceColumns,
                     int32_t sourceRows) {
    if (width < 1 || height < 1) return;
    const size_t stride = static_cast<size_t>(width) * kRgbaBytes;
    std::memset(out, 0, stride * static_cast<size_t>(height));
    const int32_t columns = std::min(width, sourceColumns), rows = std::min(height, sourceRows);
    if (columns < 1 || rows < 1) return;
    vorel::expand_rows(pixels, int64_t{sourceColumns} * 3, out, stride, static_cast<uint32_t>(columns),
                       static_cast<uint32_t>(rows));
}

}  // extern "C"
