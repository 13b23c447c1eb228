// Where a decode's pixels go: memory that belongs to an object of Java's.
#pragma once

#include <jni.h>

#include "bindings/c/binding_log.h"
#include "bindings/c/picture_bytes.h"
#include "bindings/java/android_bitmap.h"
#include "bindings/java/java_calls.h"

namespace vorel {

// decode(pixels) with room for width x height pixels of the format in a bitmap, which is locked meanwhile. Its result;
// 0 where the bitmap cannot be locked, which is logged, or is too small.
template <typename Decode>
int32_t decode_into_bitmap(JNIEnv *env, jobject bitmap, int32_t format, int32_t width, int32_t height,
                           const Decode &decode) {
    const LockedBitmap locked(env, bitmap);
    if (!locked) {
        VOREL_ERROR(kTagBitmapDecoder, "DecodeJPEGFromFile : AndroidBitmap_lockPixels() failed ! error=%d",
                    locked.error());
        return 0;
    }
    const BitmapPixels pixels(locked, format, width, height);
    return pixels.data() ? decode(pixels.data()) : 0;
}

// The same in a direct buffer; one that is too small is logged as well.
template <typename Decode>
int32_t decode_into_buffer(JNIEnv *env, jobject buffer, int32_t format, int32_t width, int32_t height,
                           const Decode &decode) {
    size_t bytes;
    const DirectBuffer memory = direct_buffer(env, buffer);
    if (memory.data && picture_bytes(format, width, height, &bytes) && bytes <= memory.bytes) {
        return decode(static_cast<void *>(memory.data));
    }
    VOREL_ERROR(kTagBitmapDecoder, "DecodeJPEGFromFile : GetDirectBufferAddress() failed ! error=%d", -1);
    return 0;
}

}  // namespace vorel
