#include "bindings/java/java_calls.h"

#include <climits>

namespace vorel {

bool clear_exception(JNIEnv *env) {
    if (!env->ExceptionCheck()) return false;
    env->ExceptionClear();
    return true;
}

jclass find_class(JNIEnv *env, const char *name) {
    const jclass found = env->FindClass(name);
    return clear_exception(env) ? nullptr : found;
}

bool is_instance(JNIEnv *env, jobject object, const char *class_name) {
    if (!object) return false;
    const jclass wanted = find_class(env, class_name);
    const bool is = wanted && env->IsInstanceOf(object, wanted);
    env->DeleteLocalRef(wanted);
    return is;
}

DirectBuffer direct_buffer(JNIEnv *env, jobject buffer) {
    if (!buffer) return {};
    void *address = env->GetDirectBufferAddress(buffer);
    const jlong capacity = address ? env->GetDirectBufferCapacity(buffer) : 0;
    if (clear_exception(env) || capacity <= 0) return {};
    return {static_cast<uint8_t *>(address), static_cast<size_t>(capacity)};
}

jobject new_direct_buffer(JNIEnv *env, size_t bytes) {
    if (bytes > INT_MAX) return nullptr;
    const jclass buffer = find_class(env, "java/nio/ByteBuffer");
    if (!buffer) return nullptr;
    const jmethodID allocate = env->GetStaticMethodID(buffer, "allocateDirect", "(I)Ljava/nio/ByteBuffer;");
    jobject made = nullptr;
    if (!clear_exception(env) && allocate) {
        made = env->CallStaticObjectMethod(buffer, allocate, static_cast<jint>(bytes));
        if (clear_exception(env)) made = nullptr;
    }
    env->DeleteLocalRef(buffer);
    return made;
}

}  // namespace vorel
