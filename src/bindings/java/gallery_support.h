// What the natives for galleries share: the platform's option record, and new bitmaps that a decode fills.
#pragma once

#include <jni.h>

#include <vorel/bindings_java.h>

#include "bindings/c/binding_log.h"
#include "bindings/java/android_bitmap.h"

namespace vorel {

constexpr const char *kTagGallery = "VrBitampFactory";  // Required: spelt so
constexpr const char *kTagGalleryRegion = "VrBitmapRegionDecoderJNI";

struct GalleryOptions {
    bool just_bounds = false;
    int32_t sample = 0;
};
// False, which is logged, for an object of another class.
bool read_options(JNIEnv *env, const char *tag, jobject options, GalleryOptions *out);
void write_size(JNIEnv *env, const char *tag, jobject options, int32_t width, int32_t height);

// A new bitmap of width x height RGBA pixels that decode(pixels) fills; null where it cannot be made or filled, and it
// is recycled then.
template <typename Decode>
jobject decoded_bitmap(JNIEnv *env, const char *tag, int32_t width, int32_t height, const Decode &decode) {
    constexpr int32_t kMostSide = 49999;
    if (width < 1 || height < 1 || width > kMostSide || height > kMostSide) {
        VOREL_ERROR(tag, "not supported decoding size - width : %d, height : %d", width, height);
        return nullptr;
    }
    const jobject bitmap = createBitmap(env, width, height);
    if (!bitmap) {
        VOREL_ERROR(tag, "createBitmap fail - decWdt : %d, decHgt : %d", width, height);
        return nullptr;
    }
    bool done = false;
    {
        const LockedBitmap locked(env, bitmap);
        if (!locked) VOREL_ERROR(tag, "AndroidBitmap_lockPixels() failed ! error=%d", locked.error());
        const BitmapPixels pixels(locked, COLOR_RGBA8888, width, height);
        done = pixels.data() && decode(pixels.data());
    }
    if (done) return bitmap;
    recycleBitmap(env, bitmap);
    env->DeleteLocalRef(bitmap);
    return nullptr;
}

}  // namespace vorel
