// Natives that encode a bitmap, or pixels in an array, to JPEG.
#include <vorel/exif.h>

#include <com_vorelsoft_images_VorelBitmapFactory.h>
#include "bindings/c/binding_log.h"
#include "bindings/c/picture_bytes.h"
#include "bindings/java/android_bitmap.h"
#include "bindings/java/factory_options.h"
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/java_string.h"
#include "bindings/java/operations/encode.h"

namespace vorel {
namespace {

// What the options say of an encode. The Exif record that Java holds goes into the stream and ends here, whatever comes
// of the encode.
class EncodeOptions {
  public:
    EncodeOptions(JNIEnv *env, jobject object, bool has_input) : options_(env, object, OptionWording::kDecode) {
        int32_t optimize;
        int64_t handle;
        usable_ = options_.usable(has_input) && options_.fields().get("inOptimizeCoding", &optimize) &&
                  options_.fields().get("mExifHandle", &handle);
        if (!usable_) return;
        optimize_ = optimize != 0;
        exif_ = from_handle<ExifInfo>(handle);
    }
    ~EncodeOptions() {
        if (!exif_) return;
        BRIMJ_DestroyExifInfo(exif_);
        options_.fields().set("mExifHandle", int64_t{0});
    }
    EncodeOptions(const EncodeOptions &) = delete;
    EncodeOptions &operator=(const EncodeOptions &) = delete;

    explicit operator bool() const { return usable_; }
    void apply(EncodeRequest *request) const {
        request->exif = exif_;
        request->optimize = optimize_;
    }

  private:
    FactoryOptions options_;
    bool usable_ = false, optimize_ = false;
    ExifInfo *exif_ = nullptr;
};

// The colour format of a bitmap's pixels; -1 for those that no encoder reads.
int32_t format_of(const AndroidBitmapInfo &info) {
    switch (info.format) {
        case 1:
            return COLOR_RGBA8888;
        case 4:
            return COLOR_RGB565;
        default:
            return -1;
    }
}

// encode(request) with the bitmap's pixels; a zero result where they cannot be had.
template <typename Encode>
auto encode_bitmap(JNIEnv *env, jobject bitmap, jint quality, const EncodeOptions &options, const Encode &encode)
    -> decltype(encode(EncodeRequest{})) {
    const LockedBitmap locked(env, bitmap);
    if (!locked) {
        VOREL_ERROR(kTagBitmapDecoder, "AndroidBitmap_lockPixels() failed ! error=%d", locked.error());
        return {};
    }
    const int32_t format = format_of(locked.info());
    const int32_t width = static_cast<int32_t>(locked.info().width),
                  height = static_cast<int32_t>(locked.info().height);
    if (format < 0) return {};
    const BitmapPixels pixels(locked, format, width, height);
    if (!pixels.data()) return {};
    EncodeRequest request = {pixels.data(), width, height, format, quality, nullptr, false};
    options.apply(&request);
    return encode(request);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jint Java_com_vorelsoft_images_VorelBitmapFactory_nativeEncodeFile(JNIEnv *env, jclass, jobject bitmap, jstring path,
                                                                   jint quality, jobject object) {
    const JavaString text(env, path);
    const EncodeOptions options(env, object, bitmap && text.path());
    if (!options) return 0;
    return encode_bitmap(env, bitmap, quality, options,
                         [&](const EncodeRequest &request) -> jint { return encode_to_file(request, text.path()); });
}

jbyteArray Java_com_vorelsoft_images_VorelBitmapFactory_nativeEncodeByteArray(JNIEnv *env, jclass, jobject bitmap,
                                                                              jint quality, jobject object) {
    const EncodeOptions options(env, object, bitmap != nullptr);
    if (!options) return nullptr;
    int32_t size = 0;
    const OsBlock stream(encode_bitmap(env, bitmap, quality, options,
                                       [&](const EncodeRequest &request) { return encode_to_memory(request, &size); }));
    return stream ? new_bytes(env, stream.as<void>(), size) : nullptr;
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_nativeEncodeFileFromByte(JNIEnv *env, jclass, jbyteArray pixels,
                                                                           jint width, jint height, jint format,
                                                                           jstring path, jint quality, jobject object) {
    const JavaString text(env, path);
    const JavaBytes bytes(env, pixels);
    const EncodeOptions options(env, object, bytes && text.path());
    size_t needed;
    if (!options || !picture_bytes(format, width, height, &needed) || needed > static_cast<size_t>(bytes.size())) {
        return 0;
    }
    // The encoder only reads them.
    EncodeRequest request = {const_cast<uint8_t *>(bytes.data()), width, height, format, quality, nullptr, false};
    options.apply(&request);
    return encode_to_file(request, text.path());
}

}  // extern "C"
