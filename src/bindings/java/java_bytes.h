// Arrays of Java, read and written within their ends.
#pragma once

#include <jni.h>

#include <cstddef>
#include <cstdint>

namespace vorel {

// The bytes of a part of an array for the length of a scope.
class JavaBytes {
  public:
    // All of it.
    JavaBytes(JNIEnv *env, jbyteArray array);
    JavaBytes(JNIEnv *env, jbyteArray array, jint offset, jint length);
    ~JavaBytes();
    JavaBytes(const JavaBytes &) = delete;
    JavaBytes &operator=(const JavaBytes &) = delete;

    // Null for a null array, a part that is empty or does not lie in it, and without memory.
    const uint8_t *data() const { return data_; }
    int32_t size() const { return size_; }
    explicit operator bool() const { return data_ != nullptr; }

  private:
    JNIEnv *env_;
    jbyteArray array_;
    jbyte *elements_ = nullptr;
    const uint8_t *data_ = nullptr;
    int32_t size_ = 0;
};

// Copies of a part of an array, from it and into it; false, with nothing copied, where the part does not lie in it.
bool read_bytes(JNIEnv *env, jbyteArray array, jint offset, void *out, jint length);
bool write_bytes(JNIEnv *env, jbyteArray array, jint offset, const void *bytes, jint length);
// A copy of a part in a block of os_allocate; null for a part that is empty or does not lie in the array.
void *copy_bytes(JNIEnv *env, jbyteArray array, jint offset, jint length);
// A new array; null without memory.
jbyteArray new_bytes(JNIEnv *env, const void *bytes, jint length);

// 0 for null.
jsize array_length(JNIEnv *env, jarray array);
// Elements from offset on; -1 where it is none, nor the end.
jint length_from(JNIEnv *env, jarray array, jint offset);
// One element; false where there is none.
bool write_long(JNIEnv *env, jlongArray array, jint index, jlong value);
bool write_int(JNIEnv *env, jintArray array, jint index, jint value);

}  // namespace vorel
