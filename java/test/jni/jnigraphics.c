/* Stands in for Android's libjnigraphics on a host: bitmaps are the stand-in class, whose pixels are a direct buffer.
 */
#include <jni.h>
#include <stddef.h>
#include <stdint.h>

typedef struct AndroidBitmapInfo {
    uint32_t width, height, stride;
    int32_t format;
    uint32_t flags;
} AndroidBitmapInfo;

enum { RGBA_8888 = 1, RGB_565 = 4, A_8 = 8, BAD_PARAMETER = -1 };

static jint field(JNIEnv *env, jobject bitmap, const char *name, jint change) {
    const jclass type = (*env)->GetObjectClass(env, bitmap);
    const jfieldID id = (*env)->GetFieldID(env, type, name, "I");
    const jint value = (*env)->GetIntField(env, bitmap, id);
    if (change) (*env)->SetIntField(env, bitmap, id, value + change);
    (*env)->DeleteLocalRef(env, type);
    return value;
}

int AndroidBitmap_getInfo(JNIEnv *env, jobject bitmap, AndroidBitmapInfo *info) {
    const jint bytes = field(env, bitmap, "bytesPerPixel", 0);
    info->width = (uint32_t)field(env, bitmap, "width", 0);
    info->height = (uint32_t)field(env, bitmap, "height", 0);
    info->stride = (uint32_t)field(env, bitmap, "stride", 0);
    info->format = bytes == 4 ? RGBA_8888 : bytes == 2 ? RGB_565 : A_8;
    info->flags = 0;
    return 0;
}

int AndroidBitmap_lockPixels(JNIEnv *env, jobject bitmap, void **pixels) {
    if (field(env, bitmap, "unlockable", 0)) return BAD_PARAMETER;
    const jclass type = (*env)->GetObjectClass(env, bitmap);
    const jfieldID id = (*env)->GetFieldID(env, type, "pixels", "Ljava/nio/ByteBuffer;");
    const jobject buffer = (*env)->GetObjectField(env, bitmap, id);
    *pixels = (*env)->GetDirectBufferAddress(env, buffer);
    (*env)->DeleteLocalRef(env, buffer);
    (*env)->DeleteLocalRef(env, type);
    field(env, bitmap, "locks", 1);
    field(env, bitmap, "lockCalls", 1);
    return 0;
}

int AndroidBitmap_unlockPixels(JNIEnv *env, jobject bitmap) {
    field(env, bitmap, "locks", -1);
    return 0;
}
