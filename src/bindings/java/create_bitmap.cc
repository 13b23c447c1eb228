// Making and recycling Android's bitmaps, through their own Java methods.
#include <vorel/bindings_java.h>

#include "bindings/c/binding_log.h"
#include "bindings/java/java_calls.h"

namespace vorel {
namespace {

jobject argb_8888(JNIEnv *env) {
    const jclass config = find_class(env, "android/graphics/Bitmap$Config");
    if (!config) return nullptr;
    jobject value = nullptr;
    const jmethodID value_of =
        env->GetStaticMethodID(config, "valueOf", "(Ljava/lang/String;)Landroid/graphics/Bitmap$Config;");
    if (!clear_exception(env) && value_of) {
        const jstring name = env->NewStringUTF("ARGB_8888");
        if (!clear_exception(env) && name) value = env->CallStaticObjectMethod(config, value_of, name);
        if (clear_exception(env)) value = nullptr;
        env->DeleteLocalRef(name);
    }
    env->DeleteLocalRef(config);
    return value;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jobject createBitmap(JNIEnv *env, int32_t width, int32_t height) {
    const jobject config = argb_8888(env);
    const jclass bitmap = config ? find_class(env, "android/graphics/Bitmap") : nullptr;
    jobject made = nullptr;
    if (bitmap) {
        const jmethodID create = env->GetStaticMethodID(
            bitmap, "createBitmap", "(IILandroid/graphics/Bitmap$Config;)Landroid/graphics/Bitmap;");
        if (!clear_exception(env) && create) {
            made = env->CallStaticObjectMethod(bitmap, create, width, height, config);
            if (clear_exception(env)) made = nullptr;
        }
        env->DeleteLocalRef(bitmap);
    }
    env->DeleteLocalRef(config);
    return made;
}

void recycleBitmap(JNIEnv *env, jobject bitmap) {
    if (!bitmap) return;
    const jclass of = env->GetObjectClass(bitmap);
    const jmethodID recycle = env->GetMethodID(of, "recycle", "()V");
    env->DeleteLocalRef(of);
    if (clear_exception(env) || !recycle) {
        VOREL_ERROR(kTagBitmapDecoder, "error recycling!");
        return;
    }
    env->CallVoidMethod(bitmap, recycle);
    clear_exception(env);
}

}  // extern "C"
