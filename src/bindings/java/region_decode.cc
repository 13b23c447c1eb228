// Natives that decode rectangles: into bitmaps, direct buffers and memory that they allocate.
#include <vorel/bindings_java.h>

#include <cstring>

#include <com_vorelsoft_images_VorelBitmapRegionDecoderNative.h>
#include "bindings/c/binding_log.h"
#include "bindings/c/picture_bytes.h"
#include "bindings/c/region_overhang.h"
#include "bindings/java/android_bitmap.h"
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/operations/region_format.h"

namespace vorel {
namespace {

constexpr jint kBadArgument = -1;
constexpr int kBlackChroma = 128;

struct RegionRequest {
    int32_t x, y, width, height;
    int32_t selector, sample;

    int32_t format() const { return selected_format(selector); }
    bool is_valid() const { return width > 0 && height > 0 && sample > 0 && format() >= 0; }
};

// What a rectangle is decoded by, into packed pixels.
using RegionDecoder = int32_t (*)(jlong handle, void *pixels, const RegionRequest &request);

int32_t jpeg(jlong handle, void *pixels, const RegionRequest &r) {
    return region_inside(from_handle<DecInfo>(handle), pixels, r.x, r.y, r.width, r.height, r.format(), r.sample);
}
int32_t jpeg_overhanging(jlong handle, void *pixels, const RegionRequest &r) {
    return region_ex(from_handle<DecInfo>(handle), pixels, r.x, r.y, r.width, r.height, r.format(), r.sample);
}
int32_t png(jlong handle, void *pixels, const RegionRequest &r) {
    if (r.format() != COLOR_RGBA8888) return 0;
    return decodeRegionPNG(from_handle<vpng_tile_index>(handle), pixels, r.x, r.y, r.width, r.height, r.sample);
}
int32_t png_overhanging(jlong handle, void *pixels, const RegionRequest &r) {
    return region_png_ex(from_handle<vpng_tile_index>(handle), pixels, r.x, r.y, r.width, r.height, r.format(),
                         r.sample);
}

// columns and rows: the size of the result.
jint into_bitmap(JNIEnv *env, jobject bitmap, jlong handle, const RegionRequest &request, int32_t columns, int32_t rows,
                 RegionDecoder decode) {
    if (!bitmap || handle == 0 || !request.is_valid()) return kBadArgument;
    const LockedBitmap locked(env, bitmap);
    if (!locked) {
        VOREL_ERROR(kTagBitmapDecoder, "AndroidBitamp_lockPixels() failed ! error = %d\n", locked.error());
        return kBadArgument;
    }
    const BitmapPixels pixels(locked, request.format(), columns, rows);
    return pixels.data() ? decode(handle, pixels.data(), request) : kBadArgument;
}

jint jpeg_into_bitmap(JNIEnv *env, jobject bitmap, jlong handle, const RegionRequest &request, RegionDecoder decode) {
    return into_bitmap(env, bitmap, handle, request, request.width, request.height, decode);
}

jint png_into_bitmap(JNIEnv *env, jobject bitmap, jlong handle, const RegionRequest &request, RegionDecoder decode) {
    if (!request.is_valid()) return kBadArgument;
    return into_bitmap(env, bitmap, handle, request, request.width / request.sample, request.height / request.sample,
                       decode);
}

// New memory for a picture in a COLOR_ format: black, and transparent.
void *new_picture(int32_t format, int32_t width, int32_t height) {
    size_t bytes;
    if (!picture_bytes(format, width, height, &bytes)) return nullptr;
    auto *pixels = static_cast<uint8_t *>(os_allocate_zeroed(bytes));
    const ChromaLayout chroma = pixel_layout(format).chroma;
    if (pixels && (chroma == ChromaLayout::kPlanes || chroma == ChromaLayout::kPairs)) {
        const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
        std::memset(pixels + luma, kBlackChroma, bytes - luma);
    }
    return pixels;
}

// Gives the picture away to element 0.
jint hand_over(JNIEnv *env, jlongArray out, OsBlock *picture) {
    if (!write_long(env, out, 0, to_handle(picture->as<void>()))) return kBadArgument;
    picture->release();
    return 1;
}

jint into_new_memory(JNIEnv *env, jlongArray out, jlong handle, const RegionRequest &request, bool convert,
                     RegionDecoder decode) {
    if (array_length(env, out) < 1 || handle == 0 || !request.is_valid()) return kBadArgument;
    OsBlock picture(new_picture(request.format(), request.width, request.height));
    if (!picture || decode(handle, picture.as<void>(), request) != 1) return 0;
    if (!convert) return hand_over(env, out, &picture);
    OsBlock planes(new_picture(COLOR_YUV420, request.width, request.height));
    if (!planes) return 0;
    argb88882Yuv420p(planes.as<uint8_t>(), picture.as<uint8_t>(), request.width, request.height);
    return hand_over(env, out, &planes);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeDoDecodeRegion(
    JNIEnv *env, jclass, jobject bitmap, jlong handle, jint x, jint y, jint width, jint height, jint format,
    jint sampleSize) {
    return jpeg_into_bitmap(env, bitmap, handle, {x, y, width, height, format, sampleSize}, jpeg);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeDoDecodeRegionPNG(
    JNIEnv *env, jclass, jobject bitmap, jlong handle, jint x, jint y, jint width, jint height, jint format,
    jint sampleSize) {
    return png_into_bitmap(env, bitmap, handle, {x, y, width, height, format, sampleSize}, png);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeDoDecodeRegionEx(
    JNIEnv *env, jclass, jobject bitmap, jlong handle, jint x, jint y, jint width, jint height, jint format,
    jint sampleSize) {
    return jpeg_into_bitmap(env, bitmap, handle, {x, y, width, height, format, sampleSize}, jpeg_overhanging);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeDoDecodeRegionPNGEx(
    JNIEnv *env, jclass, jobject bitmap, jlong handle, jint x, jint y, jint width, jint height, jint format,
    jint sampleSize) {
    return png_into_bitmap(env, bitmap, handle, {x, y, width, height, format, sampleSize}, png_overhanging);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeDoDecodeRegionExToNativeBuffer(
    JNIEnv *env, jclass, jlongArray out, jlong handle, jint x, jint y, jint width, jint height, jint format,
    jint sampleSize) {
    return into_new_memory(env, out, handle, {x, y, width, height, format, sampleSize}, false, jpeg_overhanging);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeDoDecodeRegionToNativeBuffer(
    JNIEnv *env, jclass, jlongArray out, jlong handle, jint x, jint y, jint width, jint height, jint convert,
    jint sampleSize) {
    return into_new_memory(env, out, handle, {x, y, width, height, 0, sampleSize}, convert != 0, jpeg);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeDoDecodeRegionToBuffer(
    JNIEnv *env, jclass, jobject buffer, jlong handle, jint x, jint y, jint width, jint height, jint format,
    jint sampleSize) {
    const RegionRequest request = {x, y, width, height, format, sampleSize};
    if (handle == 0 || !request.is_valid()) return kBadArgument;
    const DirectBuffer memory = direct_buffer(env, buffer);
    if (!memory.data) {
        VOREL_ERROR(kTagBitmapDecoder, "nativeDoDecodeRegionToBuffer : GetDirectBufferAddress() failed ! error=%d",
                    kBadArgument);
        return kBadArgument;
    }
    size_t bytes;
    if (!picture_bytes(request.format(), width, height, &bytes) || bytes > memory.bytes) return kBadArgument;
    return jpeg(handle, memory.data, request);
}

}  // extern "C"
