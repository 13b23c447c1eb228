// Natives that decode a kept session a few rows at a time. A session ends with whatever is not "call again", but for
// one that was finished together with its region map.
#include <jni.h>

#include <com_vorelsoft_images_VorelBitmapFactory.h>
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_output.h"
#include "bindings/java/kept_handle.h"

namespace vorel {
namespace {

constexpr int32_t kAllFlags = VOREL_ITERATE | VOREL_ITERATE_MAP;

// A session that is prepared goes on to be decoded.
jint prepared(DecInfo *session, int32_t result) {
    if (result == 0) close_session(session);
    return result;
}

int32_t bitmap_height(const LockedBitmap &bitmap) { return static_cast<int32_t>(bitmap.info().height); }

void log_height_error(int number, int32_t first, int32_t second) {
    VOREL_ERROR(kTagBitmapDecoder, "DecodeJPEGFromFileIter Iteration Buffer Height is error #%d : %d %d", number, first,
                second);
}

// The bitmap holds the whole picture, of which rows come with every call.
int32_t iterate_bitmap(JNIEnv *env, DecInfo *session, jobject bitmap, int32_t width, int32_t height, int32_t flags,
                       int32_t rows) {
    const LockedBitmap locked(env, bitmap);
    if (!locked) {
        VOREL_ERROR(kTagBitmapDecoder, "DecodeJPEGFromFile : AndroidBitmap_lockPixels() failed ! error=%d",
                    locked.error());
        return 0;
    }
    if (bitmap_height(locked) < rows) {
        log_height_error(1, bitmap_height(locked), rows);
        return 0;
    }
    const BitmapPixels pixels(locked, session->outColorFormat, width, height);
    if (!pixels.data()) {
        log_height_error(2, bitmap_height(locked), height);
        return 0;
    }
    if (flags & ~kAllFlags) {
        log_height_error(3, bitmap_height(locked), flags);
        return 0;
    }
    return VORELBRIM_DecodeJPEGIter(session, pixels.data(), width, height, static_cast<uint32_t>(flags), rows);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jint Java_com_vorelsoft_images_VorelBitmapFactory_PrepareJPEGFromFileIter(JNIEnv *, jclass, jlong handle, jint width,
                                                                          jint height) {
    DecInfo *session = kept_session(handle, "PrepareJPEGFromFileIter");
    return session ? prepared(session, prepare_kept(session, width, height)) : 0;
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_PrepareJPEGFromFileIterMidpoint(JNIEnv *env, jclass, jlong handle,
                                                                                  jint width, jint height,
                                                                                  jbyteArray midpoints, jint offset) {
    DecInfo *session = kept_session(handle, "PrepareJPEGFromFileIterMidpoint");
    if (!session) return 0;
    const JavaBytes blob(env, midpoints, offset, length_from(env, midpoints, offset));
    return prepared(session, prepare_kept_midpoints(session, width, height, blob.data(), blob.size()));
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGFromFileIter(JNIEnv *env, jclass, jlong handle,
                                                                         jobject bitmap, jint width, jint height,
                                                                         jint flags, jint rows) {
    DecInfo *session = kept_session(handle, "DecodeJPEGFromFileIter");
    if (!session) return 0;
    return ended(session, iterate_bitmap(env, session, bitmap, width, height, flags, rows), flags);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGFromFileIterToBuffer(JNIEnv *env, jclass, jlong handle,
                                                                                 jobject buffer, jint width,
                                                                                 jint height, jint flags, jint rows) {
    DecInfo *session = kept_session(handle, "DecodeJPEGFromFileIterToBuffer");
    if (!session) return 0;
    const int32_t result = decode_into_buffer(env, buffer, session->outColorFormat, width, height, [&](void *pixels) {
        return VORELBRIM_DecodeJPEGIter(session, pixels, width, height, static_cast<uint32_t>(flags), rows);
    });
    return ended(session, result, flags);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_AbortJPEGFromFileIter(JNIEnv *, jclass, jlong handle) {
    DecInfo *session = kept_session(handle, "AbortJPEGFromFileIter");
    if (!session) return 0;
    close_session(session);
    return 1;
}

}  // extern "C"
