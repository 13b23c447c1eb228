// Natives about checkpoints: a decode that collects them, and what applications ask of the bytes that they keep.
#include <jni.h>

#include <com_vorelsoft_images_VorelBitmapFactory.h>
#include "bindings/c/owned_session.h"
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_output.h"
#include "bindings/java/operations/kept_session.h"

namespace vorel {
namespace {

constexpr jint kCountBytes = 4, kRecordBytes = 68;
constexpr int32_t kMostMidpoints = 4;

bool read_count(JNIEnv *env, jbyteArray blob, jint offset, int32_t *count) {
    uint8_t bytes[kCountBytes];
    if (!read_bytes(env, blob, offset, bytes, kCountBytes)) return false;
    *count = static_cast<int32_t>(little_endian_32(bytes));
    return true;
}

// As many as the caller asks for, with room behind the count.
bool has_room(JNIEnv *env, jbyteArray blob, jint offset, int32_t count) {
    return count >= 0 && count <= kMostMidpoints &&
           length_from(env, blob, offset) >= kCountBytes + count * kRecordBytes;
}

bool write_blob(JNIEnv *env, const DecInfo *session, jbyteArray blob, jint offset) {
    uint8_t bytes[kCountBytes + kMostMidpoints * kRecordBytes];
    const int32_t used = vorel_write_midpoints(session, bytes, sizeof bytes);
    return write_bytes(env, blob, offset, bytes, used);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jint Java_com_vorelsoft_images_VorelBitmapFactory_GetJPEGMidPoint(JNIEnv *, jclass, jlong handle, jint divisor,
                                                                  jint index) {
    return handle ? VORELBRIM_GetJPEGMidPoint(from_handle<DecInfo>(handle), divisor, index) : 0;
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_GetMidPointCount(JNIEnv *env, jclass, jbyteArray blob, jint offset) {
    int32_t count;
    return read_count(env, blob, offset, &count) ? count : 0;
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeJPEGGetMidpoint(JNIEnv *env, jclass, jlong handle,
                                                                        jobject bitmap, jint width, jint height,
                                                                        jint sampleSize, jbyteArray blob, jint offset) {
    const OwnedSession session(from_handle<DecInfo>(handle));
    int32_t count, out_width, out_height;
    if (!session || !read_count(env, blob, offset, &count) || !has_room(env, blob, offset, count)) return 0;
    const KeptRequest request = {width, height, sampleSize};
    kept_size(session.get(), request, &out_width, &out_height);
    const int32_t done = decode_into_bitmap(
        env, bitmap, session->outColorFormat, out_width, out_height,
        [&](void *pixels) { return decode_kept_with_midpoints(session.get(), pixels, request, count); });
    return done && write_blob(env, session.get(), blob, offset);
}

// Records are the application's own bytes: all there is to say is whether one stands there.
jint Java_com_vorelsoft_images_VorelBitmapFactory_GetMidpoint(JNIEnv *env, jclass, jbyteArray blob, jint offset) {
    uint8_t record[kRecordBytes];
    return read_bytes(env, blob, offset, record, kRecordBytes);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DestroyMidpointInfo(JNIEnv *, jclass, jlong pointer) {
    os_release(from_handle<void>(pointer));
    return pointer != 0;
}

}  // extern "C"
