// Natives that decode a kept session once. Whatever comes of it, the session is over then.
#include <jni.h>

#include <com_vorelsoft_images_VorelBitmapFactory.h>
#include "bindings/c/owned_session.h"
#include "bindings/java/java_output.h"
#include "bindings/java/operations/kept_session.h"

namespace vorel {
namespace {

OwnedSession take(jlong handle) { return OwnedSession(from_handle<DecInfo>(handle)); }

jint decode_whole(JNIEnv *env, jlong handle, jobject bitmap, const KeptRequest &request) {
    const OwnedSession session = take(handle);
    if (!session) return 0;
    int32_t width, height;
    kept_size(session.get(), request, &width, &height);
    return decode_into_bitmap(env, bitmap, session->outColorFormat, width, height,
                              [&](void *pixels) { return decode_kept(session.get(), pixels, request); });
}

// into(format, decode) runs decode(pixels) on the pixels of a bitmap or a buffer.
template <typename Into>
int32_t decode_window(jlong handle, const KeptRequest &request, const FactoryWindow &window, const Into &into) {
    const OwnedSession session = take(handle);
    if (!session || !is_window(window)) return 0;
    return into(session->outColorFormat,
                [&](void *pixels) { return decode_kept_window(session.get(), pixels, request, window); });
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jint Java_com_vorelsoft_images_VorelBitmapFactory_nativeDecodeJPEG(JNIEnv *env, jclass, jlong handle, jobject bitmap,
                                                                   jint width, jint height, jint sampleSize) {
    return decode_whole(env, handle, bitmap, {width, height, sampleSize});
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGFromFile(JNIEnv *env, jclass, jlong handle, jobject bitmap,
                                                                     jint width, jint height, jint sampleSize) {
    return decode_whole(env, handle, bitmap, {width, height, sampleSize});
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_PartialDecodeJPEGFromFile(JNIEnv *env, jclass, jlong handle,
                                                                            jobject bitmap, jint width, jint height,
                                                                            jint sampleSize, jint x, jint y, jint w,
                                                                            jint h) {
    return decode_window(handle, {width, height, sampleSize}, {x, y, w, h}, [&](int32_t format, const auto &decode) {
        return decode_into_bitmap(env, bitmap, format, w, h, decode);
    });
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_PartialDecodeJPEGToBuffer(JNIEnv *env, jclass, jlong handle,
                                                                            jobject buffer, jint width, jint height,
                                                                            jint sampleSize, jint x, jint y, jint w,
                                                                            jint h) {
    return decode_window(handle, {width, height, sampleSize}, {x, y, w, h}, [&](int32_t format, const auto &decode) {
        return decode_into_buffer(env, buffer, format, w, h, decode);
    });
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGThumbnail(JNIEnv *env, jclass, jlong handle, jobject bitmap,
                                                                      jint width, jint height, jint thumbnailFlags) {
    const OwnedSession session = take(handle);
    if (!session) return 0;
    return decode_into_bitmap(env, bitmap, session->outColorFormat, width, height, [&](void *pixels) {
        return decode_kept_thumbnail(session.get(), pixels, width, height, thumbnailFlags);
    });
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGThumbnailToBuffer(JNIEnv *env, jclass, jlong handle,
                                                                              jobject buffer, jint width, jint height,
                                                                              jint thumbnailFlags) {
    const OwnedSession session = take(handle);
    if (!session) return 0;
    return decode_into_buffer(env, buffer, session->outColorFormat, width, height, [&](void *pixels) {
        return decode_kept_thumbnail(session.get(), pixels, width, height, thumbnailFlags);
    });
}

jlong Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGThumbnailToNativeBuffer(JNIEnv *, jclass, jlong handle,
                                                                                     jint width, jint height,
                                                                                     jint thumbnailFlags) {
    const OwnedSession session = take(handle);
    if (!session) {
        VOREL_ERROR(kTagBitmapDecoder, "DecodeJPEGThumbnailToNativeBuffer : handle is NULL.");
        return 0;
    }
    size_t bytes;
    OsBlock pixels(display_bytes(session->outColorFormat, width, height, &bytes) ? os_allocate_zeroed(bytes) : nullptr);
    if (!pixels) {
        VOREL_ERROR(kTagBitmapDecoder, "DecodeJPEGThumbnailToNativeBuffer : Out of memory.");
        return 0;
    }
    if (!decode_kept_thumbnail(session.get(), pixels.as<void>(), width, height, thumbnailFlags)) return 0;
    return to_handle(pixels.release());
}

}  // extern "C"
