#include "bindings/java/java_bytes.h"

#include "bindings/java/java_calls.h"
#include "core/core.h"

namespace vorel {
namespace {

bool lies_inside(JNIEnv *env, jarray array, jint offset, jint length) {
    if (!array || offset < 0 || length < 0) return false;
    const jsize size = env->GetArrayLength(array);
    return offset <= size && length <= size - offset;
}

}  // namespace

JavaBytes::JavaBytes(JNIEnv *env, jbyteArray array) : JavaBytes(env, array, 0, array_length(env, array)) {}

JavaBytes::JavaBytes(JNIEnv *env, jbyteArray array, jint offset, jint length) : env_(env), array_(array) {
    if (length == 0 || !lies_inside(env, array, offset, length)) return;
    elements_ = env->GetByteArrayElements(array, nullptr);
    clear_exception(env);
    if (!elements_) return;
    data_ = reinterpret_cast<const uint8_t *>(elements_) + offset;
    size_ = length;
}

JavaBytes::~JavaBytes() {
    // Nothing was written: nothing is copied back.
    if (elements_) env_->ReleaseByteArrayElements(array_, elements_, JNI_ABORT);
}

bool read_bytes(JNIEnv *env, jbyteArray array, jint offset, void *out, jint length) {
    if (!lies_inside(env, array, offset, length)) return false;
    env->GetByteArrayRegion(array, offset, length, static_cast<jbyte *>(out));
    return !clear_exception(env);
}

void *copy_bytes(JNIEnv *env, jbyteArray array, jint offset, jint length) {
    if (length < 1 || !lies_inside(env, array, offset, length)) return nullptr;
    OsBlock copy(os_allocate(static_cast<size_t>(length)));
    return copy && read_bytes(env, array, offset, copy.as<void>(), length) ? copy.release() : nullptr;
}

bool write_bytes(JNIEnv *env, jbyteArray array, jint offset, const void *bytes, jint length) {
    if (!lies_inside(env, array, offset, length)) return false;
    env->SetByteArrayRegion(array, offset, length, static_cast<const jbyte *>(bytes));
    return !clear_exception(env);
}

jbyteArray new_bytes(JNIEnv *env, const void *bytes, jint length) {
    const jbyteArray made = env->NewByteArray(length);
    if (clear_exception(env) || !made) return nullptr;
    write_bytes(env, made, 0, bytes, length);
    return made;
}

jsize array_length(JNIEnv *env, jarray array) { return array ? env->GetArrayLength(array) : 0; }

jint length_from(JNIEnv *env, jarray array, jint offset) {
    const jsize length = array_length(env, array);
    return offset < 0 || offset > length ? -1 : length - offset;
}

bool write_long(JNIEnv *env, jlongArray array, jint index, jlong value) {
    if (!lies_inside(env, array, index, 1)) return false;
    env->SetLongArrayRegion(array, index, 1, &value);
    return !clear_exception(env);
}

bool write_int(JNIEnv *env, jintArray array, jint index, jint value) {
    if (!lies_inside(env, array, index, 1)) return false;
    env->SetIntArrayRegion(array, index, 1, &value);
    return !clear_exception(env);
}

}  // namespace vorel
