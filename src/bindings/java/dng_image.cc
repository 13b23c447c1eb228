// Natives that develop raw files in memory. The fields of the info object become a zeroed record for each call.
#include <vorel/dng.h>

#include <com_vorelsoft_images_VorelDngBitmap.h>
#include "bindings/c/binding_log.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/java_fields.h"
#include "bindings/java/java_monitor.h"

namespace vorel {
namespace {

constexpr jint kFailed = -1;
constexpr uint64_t kRgbaBytes = 4;
constexpr const char *kInfoClass = "com/vorelsoft/images/VorelDngInfo";
constexpr MissingField kMissing = {kTagBitmapDecoder, "Illegal option field %s"};

// The first bytes of a direct buffer; none where it has less than that.
struct RawFile {
    const uint8_t *data = nullptr;
    int32_t length = 0;
};
RawFile raw_file(JNIEnv *env, jobject buffer, jint length) {
    const DirectBuffer memory = direct_buffer(env, buffer);
    if (length < 1 || static_cast<size_t>(length) > memory.bytes) return {};
    return {memory.data, length};
}

bool has_room(const DirectBuffer &out, uint32_t width, uint32_t height) {
    return out.data && width > 0 && height > 0 && uint64_t{width} * height <= out.bytes / kRgbaBytes;
}

// The info object's fields, where it is one.
class DngInfo {
  public:
    DngInfo(JNIEnv *env, jobject info)
        : env_(env), info_(is_instance(env, info, kInfoClass) ? info : nullptr), fields_(env, info, kMissing) {}

    explicit operator bool() const { return info_ != nullptr; }
    bool is_region_decoder() const {
        bool is = false;
        fields_.get("bRegionDecoder", &is);
        return is;
    }
    jobject object() const { return info_; }
    // To be called while the monitor is held where another thread may change it.
    template <typename Record>
    Record *handle() const {
        int64_t handle = 0;
        fields_.get("handle", &handle);
        return from_handle<Record>(handle);
    }
    void put_handle(const void *handle) const {
        const JavaMonitor monitor(env_, info_);
        fields_.set("handle", to_handle(handle));
    }
    void put_size(const decInfo &record) const {
        put("width", record.width);
        put("height", record.height);
    }
    void put_parsed(const decInfo &record) const {
        put_size(record);
        put("FileBlackLevelRepeatRows", record.blackRepeatRows);
        put("FileBlackLevelRepeatCols", record.blackRepeatColumns);
        put("SamplesPerPixel", record.samplesPerPixel);
        fields_.set("mCropOriginX", record.cropOriginX);
        fields_.set("mCropOriginY", record.cropOriginY);
        fields_.set("mCropWidth", record.cropWidth);
        fields_.set("mCropHeight", record.cropHeight);
    }
    bool get_size(decInfo *record) const { return get("width", &record->width) && get("height", &record->height); }
    bool get_request(decInfo *record) const {
        return get_size(record) && get("UserBlackLevelRepeatRows", &record->userBlackRepeatRows) &&
               get("UserBlackLevelRepeatCols", &record->userBlackRepeatColumns) &&
               get("SamplesPerPixel", &record->samplesPerPixel) && fields_.get("UseInfo", &record->useUserLevels) &&
               fields_.get("rd_t", &record->regionTop) && fields_.get("rd_b", &record->regionBottom) &&
               fields_.get("rd_l", &record->regionLeft) && fields_.get("rd_r", &record->regionRight) &&
               fields_.get("count_nr", &record->noiseStrength);
    }

  private:
    // A side below 0 is none.
    bool get(const char *name, uint32_t *value) const {
        int32_t number = 0;
        if (!fields_.get(name, &number)) return false;
        *value = number < 0 ? 0 : static_cast<uint32_t>(number);
        return true;
    }
    void put(const char *name, uint32_t value) const { fields_.set(name, static_cast<int32_t>(value)); }

    JNIEnv *env_;
    jobject info_;
    JavaFields fields_;
};

// The record of a running decode is the object's handle, by which another thread cancels.
class CancelHandle {
  public:
    CancelHandle(const DngInfo &info, decInfo *record) : info_(info) { info_.put_handle(record); }
    ~CancelHandle() { info_.put_handle(nullptr); }
    CancelHandle(const CancelHandle &) = delete;
    CancelHandle &operator=(const CancelHandle &) = delete;

  private:
    const DngInfo &info_;
};

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelDngBitmap_parseDNGImageBufferJNI(JNIEnv *env, jclass,
                                                                                       jobject data, jint length,
                                                                                       jobject object) {
    const RawFile file = raw_file(env, data, length);
    const DngInfo info(env, object);
    if (!file.data || !info) return kFailed;
    const bool region = info.is_region_decoder();
    decInfo record = {};
    const int32_t status = region ? parseDNGImageBuffer_for_RD(file.data, file.length, &record)
                                  : parseDNGImageBuffer(file.data, file.length, &record);
    if (status < 0) return status;
    info.put_parsed(record);
    if (region) info.put_handle(record.handle);
    return status;
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelDngBitmap_DecodeDNGImageBufferJNI(JNIEnv *env, jclass,
                                                                                        jobject data, jint length,
                                                                                        jobject out, jobject object) {
    const RawFile file = raw_file(env, data, length);
    const DirectBuffer pixels = direct_buffer(env, out);
    const DngInfo info(env, object);
    decInfo record = {};
    if (!file.data || !info || !info.get_request(&record) || !has_room(pixels, record.width, record.height))
        return kFailed;
    if (!info.is_region_decoder()) {
        const CancelHandle handle(info, &record);
        return decodeDNGImageBuffer(file.data, file.length, pixels.data, &record);
    }
    record.handle = info.handle<void>();
    return record.handle ? decodeDNGImageBuffer_for_RD(file.data, file.length, pixels.data, &record) : kFailed;
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelDngBitmap_parseDNGPreviewImageBufferJNI(JNIEnv *env, jclass,
                                                                                              jobject data, jint length,
                                                                                              jobject object) {
    const RawFile file = raw_file(env, data, length);
    const DngInfo info(env, object);
    if (!file.data || !info) return kFailed;
    int32_t width = 0, height = 0;
    const int32_t status = parseDNGPreviewImageBuffer(file.data, file.length, &width, &height);
    if (status < 0) return status;
    decInfo size = {};
    size.width = static_cast<uint32_t>(width);
    size.height = static_cast<uint32_t>(height);
    info.put_size(size);
    return status;
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelDngBitmap_DecodeDNGPreviewImageBufferJNI(JNIEnv *env, jclass,
                                                                                               jobject data,
                                                                                               jint length, jobject out,
                                                                                               jobject object) {
    const RawFile file = raw_file(env, data, length);
    const DirectBuffer pixels = direct_buffer(env, out);
    const DngInfo info(env, object);
    decInfo size = {};
    if (!file.data || !info || !info.get_size(&size) || !has_room(pixels, size.width, size.height)) return kFailed;
    return decodeDNGPreviewImageBuffer(file.data, file.length, pixels.data, static_cast<int32_t>(size.width),
                                       static_cast<int32_t>(size.height));
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelDngBitmap_cancelDecodingDNGImageBufferJNI(JNIEnv *env, jclass,
                                                                                                jobject object) {
    const DngInfo info(env, object);
    if (!info) return kFailed;
    // The record of a decode that ends meanwhile stays until the monitor is free.
    const JavaMonitor monitor(env, info.object());
    decInfo record = {};
    record.handle = info.handle<void>();
    if (!record.handle) return kFailed;
    if (info.is_region_decoder()) return cancelDecoding_for_RD(&record);
    VDngCancelDecoding(static_cast<decInfo *>(record.handle));
    return 0;
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelDngBitmap_finalizeRegionDecoderHandle(JNIEnv *env, jclass,
                                                                                            jobject object) {
    const DngInfo info(env, object);
    // The handle of a plain decode is a record that its call still uses.
    if (!info || !info.is_region_decoder()) return kFailed;
    const JavaMonitor monitor(env, info.object());
    decInfo record = {};
    record.handle = info.handle<void>();
    if (!record.handle) return kFailed;
    const int32_t status = finalizeHandle(&record);
    info.put_handle(nullptr);
    return status;
}

}  // extern "C"
