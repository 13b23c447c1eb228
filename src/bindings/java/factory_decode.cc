// Natives that decode a path or bytes in one call, to a bitmap or to a direct buffer, whole or a window.
#include <vorel/bindings_java.h>

#include <com_vorelsoft_images_VorelBitmapFactory.h>
#include "bindings/c/binding_log.h"
#include "bindings/java/factory_options.h"
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/java_monitor.h"
#include "bindings/java/java_output.h"
#include "bindings/java/java_string.h"
#include "bindings/java/operations/picture_decode.h"

namespace vorel {
namespace {

// One call: where the picture comes from and what is wanted of it. window: null for all of it.
struct DecodeCall {
    JNIEnv *env;
    jobject options;
    FactorySource source;
    const FactoryWindow *window;
};

struct Side {
    int32_t width, height;
};

Side output_of(const DecodeCall &call, const FactoryPicture &picture) {
    if (call.window) return {call.window->width, call.window->height};
    return {picture.width(), picture.height()};
}

// Everything in front of the pixels. False where there will be none: the bounds alone are wanted, or a failure.
bool open_picture(const DecodeCall &call, FactoryPicture *picture) {
    const FactoryOptions options(call.env, call.options, OptionWording::kDecode);
    FactoryRequest request;
    bool just_bounds;
    if (!options.usable(call.source.path || call.source.bytes) || !options.read(&request, &just_bounds)) return false;
    if (just_bounds) {
        int32_t width, height;
        if (picture_bounds(call.source, request.color_format, &width, &height)) {
            options.write_size("outWidth", width, "outHeight", height);
        }
        return false;
    }
    if (!picture->open(call.source, request)) return false;
    options.write_size("mWidth", picture->image_width(), "mHeight", picture->image_height());
    options.write_size("outWidth", picture->image_width(), "outHeight", picture->image_height());
    if (!call.window) return true;
    if (!picture->is_jpeg()) {
        VOREL_ERROR(kTagBitmapDecoder, "not supported file type");
        return false;
    }
    return picture->has_window(*call.window);
}

// The session of a JPEG in the options for the length of a decode, by which another thread cancels it, in the place of
// one that Java keeps there. That thread holds the options' monitor meanwhile, so that the session stays until it is
// done. Options without the field decode as well.
class ShownSession {
  public:
    ShownSession(const DecodeCall &call, const FactoryPicture &picture)
        : env_(call.env), options_(call.options), fields_(call.env, call.options, {nullptr, nullptr}) {
        if (!picture.is_jpeg()) return;
        const JavaMonitor monitor(env_, options_);
        shown_ = fields_.get("mDecodeHandle", &kept_) &&
                 fields_.set("mDecodeHandle", static_cast<int64_t>(to_handle(picture.session())));
    }
    ~ShownSession() {
        if (!shown_) return;
        const JavaMonitor monitor(env_, options_);
        fields_.set("mDecodeHandle", kept_);
    }
    ShownSession(const ShownSession &) = delete;
    ShownSession &operator=(const ShownSession &) = delete;

  private:
    JNIEnv *env_;
    jobject options_;
    JavaFields fields_;
    int64_t kept_ = 0;
    bool shown_ = false;
};

int32_t decode(const DecodeCall &call, FactoryPicture *picture, void *output) {
    const ShownSession shown(call, *picture);
    return call.window ? picture->decode_window(output, *call.window) : picture->decode(output);
}

jobject decode_to_bitmap(const DecodeCall &call) {
    FactoryPicture picture;
    if (!open_picture(call, &picture)) return nullptr;
    const Side side = output_of(call, picture);
    const jobject bitmap = createBitmap(call.env, side.width, side.height);
    if (!bitmap) {
        VOREL_ERROR(kTagBitmapDecoder, "createBitmap fail");
        return nullptr;
    }
    const int32_t done = decode_into_bitmap(call.env, bitmap, picture.color_format(), side.width, side.height,
                                            [&](void *pixels) { return decode(call, &picture, pixels); });
    if (done) return bitmap;
    recycleBitmap(call.env, bitmap);
    call.env->DeleteLocalRef(bitmap);
    return nullptr;
}

int32_t decode_into(const DecodeCall &call, FactoryPicture *picture, jobject buffer) {
    const Side side = output_of(call, *picture);
    return decode_into_buffer(call.env, buffer, picture->color_format(), side.width, side.height,
                              [&](void *pixels) { return decode(call, picture, pixels); });
}

jobject decode_to_buffer(const DecodeCall &call) {
    FactoryPicture picture;
    if (!open_picture(call, &picture)) return nullptr;
    const Side side = output_of(call, picture);
    size_t bytes;
    const bool fits = display_bytes(picture.color_format(), side.width, side.height, &bytes);
    const jobject buffer = fits ? new_direct_buffer(call.env, bytes) : nullptr;
    if (!buffer) {
        VOREL_ERROR(kTagBitmapDecoder, "nativeDecodeByteArrayToBuffer : NewDirectByteBuffer() failed ! error=%d", -1);
        return nullptr;
    }
    if (decode_into(call, &picture, buffer)) return buffer;
    call.env->DeleteLocalRef(buffer);
    return nullptr;
}

int32_t decode_to_pool(const DecodeCall &call, jobject pool) {
    FactoryPicture picture;
    return open_picture(call, &picture) ? decode_into(call, &picture, pool) : 0;
}

FactorySource bytes_of(const JavaBytes &bytes) { return {nullptr, bytes.data(), bytes.size()}; }

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jobject Java_com_vorelsoft_images_VorelBitmapFactory_nativeDecodeFile(JNIEnv *env, jclass, jstring path,
                                                                      jobject options) {
    const JavaString text(env, path);
    return decode_to_bitmap({env, options, {text.path(), nullptr, 0}, nullptr});
}

jobject Java_com_vorelsoft_images_VorelBitmapFactory_nativeDecodeByteArray(JNIEnv *env, jclass, jbyteArray data,
                                                                           jint offset, jint length, jobject options) {
    const JavaBytes bytes(env, data, offset, length);
    return decode_to_bitmap({env, options, bytes_of(bytes), nullptr});
}

jobject Java_com_vorelsoft_images_VorelBitmapFactory_nativeDecodeFileToBuffer(JNIEnv *env, jclass, jstring path,
                                                                              jobject options) {
    const JavaString text(env, path);
    return decode_to_buffer({env, options, {text.path(), nullptr, 0}, nullptr});
}

jobject Java_com_vorelsoft_images_VorelBitmapFactory_nativeDecodeByteArrayToBuffer(JNIEnv *env, jclass, jbyteArray data,
                                                                                   jint offset, jint length,
                                                                                   jobject options) {
    const JavaBytes bytes(env, data, offset, length);
    return decode_to_buffer({env, options, bytes_of(bytes), nullptr});
}

jobject Java_com_vorelsoft_images_VorelBitmapFactory_nativePartialDecodeFile(JNIEnv *env, jclass, jstring path,
                                                                             jobject options, jint x, jint y,
                                                                             jint width, jint height) {
    const JavaString text(env, path);
    const FactoryWindow window = {x, y, width, height};
    return decode_to_bitmap({env, options, {text.path(), nullptr, 0}, &window});
}

jobject Java_com_vorelsoft_images_VorelBitmapFactory_nativePartialDecodeByteArray(JNIEnv *env, jclass, jbyteArray data,
                                                                                  jint offset, jint length,
                                                                                  jobject options, jint x, jint y,
                                                                                  jint width, jint height) {
    const JavaBytes bytes(env, data, offset, length);
    const FactoryWindow window = {x, y, width, height};
    return decode_to_bitmap({env, options, bytes_of(bytes), &window});
}

jobject Java_com_vorelsoft_images_VorelBitmapFactory_nativePartialDecodeByteArrayToBuffer(JNIEnv *env, jclass,
                                                                                          jbyteArray data, jint offset,
                                                                                          jint length, jobject options,
                                                                                          jint x, jint y, jint width,
                                                                                          jint height) {
    const JavaBytes bytes(env, data, offset, length);
    const FactoryWindow window = {x, y, width, height};
    return decode_to_buffer({env, options, bytes_of(bytes), &window});
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_nativePartialDecodeByteArrayToBufferForBitmapPool(
    JNIEnv *env, jclass, jbyteArray data, jint offset, jint length, jobject options, jint x, jint y, jint width,
    jint height, jobject pool) {
    const JavaBytes bytes(env, data, offset, length);
    const FactoryWindow window = {x, y, width, height};
    return decode_to_pool({env, options, bytes_of(bytes), &window}, pool);
}

}  // extern "C"
