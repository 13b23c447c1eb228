// The entries that open a file once and develop rectangles of it.
#include <algorithm>
#include <cstring>

#include "dng/base/limits.h"
#include "dng/driver/decoder.h"
#include "dng/driver/dng_entry.h"
#include "dng/driver/entries.h"
#include "dng/driver/file_bytes.h"

using vorel::dng_entry;
using vorel::FileBytes;
using vorel::MallocBytes;

namespace {

struct FreeInstance {
    void operator()(VDngRegionInstance *instance) const { std::free(instance); }
};

// Where nothing is asked for, nothing is done; a rectangle with a side of 0 or less fails.
bool valid_rectangle(int32_t top, int32_t bottom, int32_t left, int32_t right) {
    return (top == 0 && bottom == 0 && left == 0 && right == 0) || (top < bottom && left < right);
}

// The size of the result; false where it cannot be held.
bool rectangle_size(int32_t top, int32_t bottom, int32_t left, int32_t right, decInfo *info, size_t *bytes) {
    constexpr uint64_t kMost = vorel::kMaxDngPixels, kRgbaBytes = 4;
    const int64_t height = int64_t{bottom} - top, width = int64_t{right} - left;
    if (height < 0 || width < 0 ||
        (width > 0 && static_cast<uint64_t>(height) > kMost / static_cast<uint64_t>(width))) {
        return false;
    }
    info->height = static_cast<uint32_t>(height), info->width = static_cast<uint32_t>(width);
    info->regionTop = top, info->regionBottom = bottom, info->regionLeft = left, info->regionRight = right;
    *bytes = static_cast<size_t>(static_cast<uint64_t>(height) * static_cast<uint64_t>(width) * kRgbaBytes);
    return true;
}

// 1, or -1. Required: a size of 0 is no failure, and nothing is developed for it unless the handle is cancelled.
int32_t decode_region(int32_t top, int32_t bottom, int32_t left, int32_t right, const int32_t *options, void *handle,
                      const VDngRegionInstance *instance, uint8_t *out, uint8_t **pixels) {
    if (!handle || !instance || !valid_rectangle(top, bottom, left, right)) return -1;
    return dng_entry<int32_t>(-1, -1, [&]() -> int32_t {
        decInfo info = {};
        size_t bytes = 0;
        if (options) info.noiseStrength = options[VDNG_OPTION_STRENGTH];
        if (!rectangle_size(top, bottom, left, right, &info, &bytes)) return -1;
        MallocBytes made;
        if (!out) {
            made.reset(static_cast<uint8_t *>(std::calloc(std::max<size_t>(bytes, 1), 1)));
            if (!made) return -1;
        }
        VorelDngDecoder *decoder = static_cast<VorelDngDecoder *>(handle);
        if (decoder->cancelled()) return -1;
        if (bytes != 0) {
            decodeDNGImageBuffer_for_RD(instance->source, instance->sourceLength, out ? out : made.get(), &info,
                                        decoder);
        }
        if (pixels) *pixels = made.release();
        return 1;
    });
}

// Takes the buffer over: a failure frees it.
int64_t open_instance(MallocBytes buffer, int32_t length, bool owned, VDngRegionInstance **instanceOut) {
    if (!instanceOut) return VDNG_FAILED;
    *instanceOut = nullptr;
    if (!buffer || length < 1) return VDNG_EMPTY;
    std::unique_ptr<VDngRegionInstance, FreeInstance> instance(
        static_cast<VDngRegionInstance *>(std::calloc(1, sizeof(VDngRegionInstance))));
    if (!instance) return VDNG_NO_MEMORY;
    decInfo info = {};
    VorelDngDecoder *handle = nullptr;
    const int32_t status = parseDNGImageBuffer_for_RD(buffer.get(), length, &info, &handle);
    if (status != 1) return status;
    instance->ownsBuffer = owned, instance->sourceLength = length;
    instance->width = static_cast<int32_t>(info.width), instance->height = static_cast<int32_t>(info.height);
    std::memcpy(instance->make, info.make, sizeof instance->make);
    instance->cropOriginX = info.cropOriginX, instance->cropOriginY = info.cropOriginY;
    instance->cropWidth = info.cropWidth, instance->cropHeight = info.cropHeight;
    instance->source = buffer.release();
    instance->decoder = handle;
    *instanceOut = instance.release();
    return static_cast<int64_t>(reinterpret_cast<intptr_t>(handle));
}

}  // namespace

extern "C" {

int64_t DngNewInstanceBuffer(uint8_t *buffer, int32_t length, VDngRegionInstance **instanceOut) {
    return open_instance(MallocBytes(buffer), length, false, instanceOut);
}

int64_t DngNewInstanceFile(const char *path, VDngRegionInstance **instanceOut) {
    MallocBytes bytes;
    int32_t length = 0;
    if (instanceOut) *instanceOut = nullptr;
    switch (vorel::read_file(path, &bytes, &length)) {
        case FileBytes::kNotOpened:
            return VDNG_NOT_OPENED;
        case FileBytes::kEmpty:
            return VDNG_EMPTY;
        case FileBytes::kNotRead:
            return VDNG_NO_SIZE;
        case FileBytes::kNoMemory:
            return VDNG_NO_MEMORY;
        case FileBytes::kRead:
            break;
    }
    return open_instance(std::move(bytes), length, true, instanceOut);
}

uint8_t *DngDecodeRegion(int32_t top, int32_t bottom, int32_t left, int32_t right, int32_t *options, void *handle,
                         VDngRegionInstance *instance) {
    uint8_t *pixels = nullptr;
    return decode_region(top, bottom, left, right, options, handle, instance, nullptr, &pixels) == 1 ? pixels : nullptr;
}

int32_t DngDecodeRegion2Buf(int32_t top, int32_t bottom, int32_t left, int32_t right, int32_t *options, void *handle,
                            VDngRegionInstance *instance, uint8_t *out) {
    return out ? decode_region(top, bottom, left, right, options, handle, instance, out, nullptr) : -1;
}

int32_t DngRdDestroy(void *handle, VDngRegionInstance *instance) {
    delete static_cast<VorelDngDecoder *>(handle);
    if (!instance) return 0;
    if (instance->ownsBuffer) std::free(instance->source);
    std::free(instance);
    return 0;
}

int32_t getDngWidth(const VDngRegionInstance *instance) { return instance ? instance->width : 0; }
int32_t getDngHeight(const VDngRegionInstance *instance) { return instance ? instance->height : 0; }
int32_t VDngGetCropOriginX(const VDngRegionInstance *instance) { return instance ? instance->cropOriginX : 0; }
int32_t VDngGetCropOriginY(const VDngRegionInstance *instance) { return instance ? instance->cropOriginY : 0; }
int32_t VDngGetCropSizeWidth(const VDngRegionInstance *instance) { return instance ? instance->cropWidth : 0; }
int32_t VDngGetCropSizeHeight(const VDngRegionInstance *instance) { return instance ? instance->cropHeight : 0; }
const char *VDngGetExifMake(const VDngRegionInstance *instance) { return instance ? instance->make : nullptr; }

}  // extern "C"
