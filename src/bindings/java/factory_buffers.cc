// Natives that make and free blocks of memory which Java knows by their addresses, and those that look into raw files.
#include <vorel/frame.h>

#include <com_vorelsoft_images_VorelBitmapFactory.h>
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/java_string.h"
#include "bindings/java/operations/native_buffer.h"

namespace vorel {
namespace {

jint write_place(JNIEnv *env, jintArray place, DecInfo *session) {
    int32_t offset = 0, length = 0;
    VORELBRIM_GetJpegOffset(session, &offset, &length);
    VORELBRIM_DestroyDecInfo(session);
    return array_length(env, place) >= 2 && write_int(env, place, 0, offset) && write_int(env, place, 1, length);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jlong Java_com_vorelsoft_images_VorelBitmapFactory_createNativeBuffer(JNIEnv *, jclass, jint width, jint height,
                                                                      jint bytesPerPixel) {
    return to_handle(create_native_buffer(width, height, bytesPerPixel));
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_recycleNativeBuffer(JNIEnv *, jclass, jlong handle) {
    os_release(from_handle<void>(handle));
    return handle != 0;
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_GetJpegOffsetFromHRWBuffer(JNIEnv *env, jclass, jbyteArray data,
                                                                             jintArray offsetAndLength) {
    const JavaBytes bytes(env, data);
    if (!bytes) return 0;
    DecInfo *session = VORELBRIM_CreateDecInfo(kIoMemory, const_cast<uint8_t *>(bytes.data()), bytes.size(), 0, 0);
    return session ? write_place(env, offsetAndLength, session) : 0;
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_GetJpegOffsetFromHRWFile(JNIEnv *env, jclass, jstring path,
                                                                           jintArray offsetAndLength) {
    JavaString text(env, path);
    if (!text.path()) return 0;
    DecInfo *session = VORELBRIM_CreateDecInfo(kIoFile, const_cast<char *>(text.path()), 0, 0, 0);
    return session ? write_place(env, offsetAndLength, session) : 0;
}

}  // extern "C"
