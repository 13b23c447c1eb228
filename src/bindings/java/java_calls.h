// What all natives need of JNI. None of these leaves an exception pending.
#pragma once

#include <jni.h>

#include <cstddef>
#include <cstdint>

namespace vorel {

// True where an exception was pending; it is gone then.
bool clear_exception(JNIEnv *env);

// The class by its name with slashes, as a local reference; null where there is none.
jclass find_class(JNIEnv *env, const char *name);
// object is one of this class or of one below it; null is not.
bool is_instance(JNIEnv *env, jobject object, const char *class_name);

// Native objects are known to Java by their addresses.
template <typename Record>
Record *from_handle(jlong handle) {
    return reinterpret_cast<Record *>(static_cast<uintptr_t>(handle));
}
inline jlong to_handle(const void *pointer) { return static_cast<jlong>(reinterpret_cast<uintptr_t>(pointer)); }

// A direct buffer's memory for as long as the buffer lives; no memory for other buffers, and for null.
struct DirectBuffer {
    uint8_t *data = nullptr;
    size_t bytes = 0;
};
DirectBuffer direct_buffer(JNIEnv *env, jobject buffer);

// A new direct buffer, which Java frees; null without memory, and for more than 2^31 - 1 bytes.
jobject new_direct_buffer(JNIEnv *env, size_t bytes);

}  // namespace vorel
