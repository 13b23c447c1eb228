// Android's bitmaps: a lock for the length of a scope, and pixels whose rows lie close together.
#pragma once

#include <jni.h>

#include <cstddef>
#include <cstdint>

#include "core/core.h"

// The platform's own record and functions, <android/bitmap.h>. They are imported weakly: the library loads where there
// is no Android, and there a bitmap cannot be locked.
struct AndroidBitmapInfo {
    uint32_t width, height;
    uint32_t stride;  // bytes from a row to the next
    int32_t format;
    uint32_t flags;
};

extern "C" {
__attribute__((weak)) int AndroidBitmap_getInfo(JNIEnv *env, jobject bitmap, AndroidBitmapInfo *info);
__attribute__((weak)) int AndroidBitmap_lockPixels(JNIEnv *env, jobject bitmap, void **pixels);
__attribute__((weak)) int AndroidBitmap_unlockPixels(JNIEnv *env, jobject bitmap);
}

namespace vorel {

class LockedBitmap {
  public:
    LockedBitmap(JNIEnv *env, jobject bitmap);
    ~LockedBitmap();
    LockedBitmap(const LockedBitmap &) = delete;
    LockedBitmap &operator=(const LockedBitmap &) = delete;

    explicit operator bool() const { return pixels_ != nullptr; }
    // What the platform gave for a bitmap that could not be locked, below 0.
    int32_t error() const { return error_; }
    const AndroidBitmapInfo &info() const { return info_; }
    uint8_t *pixels() const { return pixels_; }
    size_t bytes() const { return size_t{info_.stride} * info_.height; }
    // Of the pixels of a row.
    size_t row_bytes() const;
    // Rows are longer than their pixels.
    bool is_padded() const;

  private:
    JNIEnv *env_;
    jobject bitmap_;
    AndroidBitmapInfo info_ = {};
    uint8_t *pixels_ = nullptr;
    int32_t error_ = -1;
};

// The pixels of a locked bitmap as the decoders store a picture: width x height pixels of a colour format without
// padding. Where the bitmap's rows are padded this is a copy, which begins as the bitmap is, so that what is not
// written stays, and goes back at the end of the scope. Formats with planes know no rows of a bitmap, and take its
// bytes as they come.
class BitmapPixels {
  public:
    BitmapPixels(const LockedBitmap &bitmap, int32_t format, int32_t width, int32_t height);
    ~BitmapPixels();
    BitmapPixels(const BitmapPixels &) = delete;
    BitmapPixels &operator=(const BitmapPixels &) = delete;

    // Null where the bitmap is too small for them or not locked, and without memory.
    void *data() const { return data_; }

  private:
    const LockedBitmap &bitmap_;
    void *data_ = nullptr;
    OsBlock copy_;
    size_t row_bytes_ = 0, rows_ = 0;
};

}  // namespace vorel
