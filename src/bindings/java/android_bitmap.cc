#include "bindings/java/android_bitmap.h"

#include <cstring>

#include "bindings/c/picture_bytes.h"
#include "bindings/java/java_calls.h"

namespace vorel {
namespace {

// Of AndroidBitmapFormat; 0 for those that the platform may yet add.
size_t bytes_per_pixel(int32_t format) {
    switch (format) {
        case 1:   // RGBA_8888
        case 10:  // RGBA_1010102
            return 4;
        case 4:  // RGB_565
        case 7:  // RGBA_4444
            return 2;
        case 8:  // A_8
            return 1;
        case 9:  // RGBA_F16
            return 8;
        default:
            return 0;
    }
}

}  // namespace

LockedBitmap::LockedBitmap(JNIEnv *env, jobject bitmap) : env_(env), bitmap_(bitmap) {
    if (!bitmap || !AndroidBitmap_getInfo || !AndroidBitmap_lockPixels || !AndroidBitmap_unlockPixels) return;
    error_ = AndroidBitmap_getInfo(env, bitmap, &info_);
    void *pixels = nullptr;
    if (error_ == 0) error_ = AndroidBitmap_lockPixels(env, bitmap, &pixels);
    if (error_ == 0) {
        pixels_ = static_cast<uint8_t *>(pixels);
        if (!pixels_) AndroidBitmap_unlockPixels(env, bitmap);
    }
    clear_exception(env);
}

LockedBitmap::~LockedBitmap() {
    if (!pixels_) return;
    AndroidBitmap_unlockPixels(env_, bitmap_);
    clear_exception(env_);
}

size_t LockedBitmap::row_bytes() const {
    const size_t bytes = bytes_per_pixel(info_.format);
    return bytes ? bytes * info_.width : info_.stride;
}

bool LockedBitmap::is_padded() const { return info_.stride != row_bytes(); }

BitmapPixels::BitmapPixels(const LockedBitmap &bitmap, int32_t format, int32_t width, int32_t height)
    : bitmap_(bitmap) {
    size_t bytes;
    if (!bitmap || !picture_bytes(format, width, height, &bytes)) return;
    const PixelLayout layout = pixel_layout(format);
    if (!bitmap.is_padded() || layout.chroma != ChromaLayout::kNone) {
        if (bytes <= bitmap.bytes()) data_ = bitmap.pixels();
        return;
    }
    row_bytes_ = sample_bytes(format) * static_cast<size_t>(width);
    rows_ = static_cast<size_t>(height);
    if (row_bytes_ > bitmap.info().stride || rows_ > bitmap.info().height) return;
    copy_.reset(os_allocate(bytes));
    data_ = copy_.as<void>();
    if (!data_) return;
    for (size_t row = 0; row < rows_; ++row) {
        std::memcpy(copy_.as<uint8_t>() + row * row_bytes_, bitmap.pixels() + row * bitmap.info().stride, row_bytes_);
    }
}

BitmapPixels::~BitmapPixels() {
    if (!copy_) return;
    for (size_t row = 0; row < rows_; ++row) {
        std::memcpy(bitmap_.pixels() + row * bitmap_.info().stride, copy_.as<uint8_t>() + row * row_bytes_, row_bytes_);
    }
}

}  // namespace vorel
