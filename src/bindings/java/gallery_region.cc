// Natives that decode rectangles for galleries. A handle is a RegionHandle.
#include <vorel/bindings.h>

#include <com_hdn_halden_gallery_decoder_regiondecoder_VorelCodecRegionDecoder.h>
#include "bindings/java/gallery_support.h"
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/java_fields.h"
#include "bindings/java/java_string.h"

namespace vorel {
namespace {

RegionHandle *region_of(jlong handle) { return from_handle<RegionHandle>(handle); }

jlong opened(JNIEnv *env, RegionHandle *region, jobject options) {
    if (region) write_size(env, kTagGalleryRegion, options, getWidth(region), getHeight(region));
    return to_handle(region);
}

bool has_options(JNIEnv *env, jobject options) {
    GalleryOptions ignored;
    return read_options(env, kTagGalleryRegion, options, &ignored);
}

// The bytes that an open picture reads go with its session or index. A raw file has made a copy of its own.
void keep_bytes(RegionHandle *region, OsBlock *bytes) {
    if (region->fileType == VOREL_IMAGE_JPEG) {
        static_cast<DecInfo *>(region->decoder)->fileBuffer = bytes->release();
    } else if (region->fileType == VOREL_IMAGE_PNG) {
        static_cast<vpng_tile_index *>(region->decoder)->memorySource = bytes->release();
    }
}

struct Sides {
    int32_t left, right, top, bottom;
};
bool read_rectangle(JNIEnv *env, jobject rectangle, Sides *out) {
    if (!is_instance(env, rectangle, "android/graphics/Rect")) return false;
    const JavaFields fields(env, rectangle, MissingField{kTagGalleryRegion, "Illegal option field %s"});
    return fields.get("left", &out->left) && fields.get("right", &out->right) && fields.get("top", &out->top) &&
           fields.get("bottom", &out->bottom);
}

// A side of the result; 0 also for what has no size in 31 bits.
int32_t side_of(int32_t from, int32_t to, int32_t sample) {
    const int64_t side = (int64_t{to} - from) / sample;
    return side < 0 || side > INT32_MAX ? 0 : static_cast<int32_t>(side);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

JNIEXPORT jlong JNICALL Java_com_hdn_halden_gallery_decoder_regiondecoder_VorelCodecRegionDecoder_nativeNewInstance(
    JNIEnv *env, jclass, jstring path, jobject options) {
    const JavaString name(env, path);
    if (!has_options(env, options)) return 0;
    VrOptions record = {};
    return opened(env, newInstanceFile(name.path(), &record), options);
}

JNIEXPORT jlong JNICALL
Java_com_hdn_halden_gallery_decoder_regiondecoder_VorelCodecRegionDecoder_nativeNewInstanceByteArray(
    JNIEnv *env, jclass, jbyteArray data, jint offset, jint length, jobject options) {
    if (!has_options(env, options)) return 0;
    OsBlock copy(copy_bytes(env, data, offset, length));
    if (!copy) return 0;
    VrOptions record = {};
    RegionHandle *region = newInstanceByteArray(copy.as<void>(), length, &record);
    if (region) keep_bytes(region, &copy);
    return opened(env, region, options);
}

JNIEXPORT jobject JNICALL Java_com_hdn_halden_gallery_decoder_regiondecoder_VorelCodecRegionDecoder_nativeDecodeRegion(
    JNIEnv *env, jclass, jlong handle, jobject rectangle, jobject options) {
    GalleryOptions wanted;
    Sides sides = {};
    if (!read_options(env, kTagGalleryRegion, options, &wanted)) return nullptr;
    if (handle == 0 || wanted.sample < 1 || !read_rectangle(env, rectangle, &sides)) return nullptr;
    return decoded_bitmap(env, kTagGalleryRegion, side_of(sides.left, sides.right, wanted.sample),
                          side_of(sides.top, sides.bottom, wanted.sample), [&](void *pixels) {
                              VrOptions record = {};
                              record.sampleSize = wanted.sample;
                              record.colorFormat = COLOR_RGBA8888;
                              return decodeRegion2(region_of(handle), pixels, sides.left, sides.right, sides.top,
                                                   sides.bottom, &record) == 1;
                          });
}

#define VOREL_GALLERY_GETTER(native, getter)                                                                   \
    JNIEXPORT jint JNICALL Java_com_hdn_halden_gallery_decoder_regiondecoder_VorelCodecRegionDecoder_##native( \
        JNIEnv *, jclass, jlong handle) {                                                                      \
        return getter(region_of(handle));                                                                      \
    }
VOREL_GALLERY_GETTER(nativeGetWidth, getWidth)
VOREL_GALLERY_GETTER(nativeGetHeight, getHeight)
VOREL_GALLERY_GETTER(nativeGetCropOriginX, getCropOriginX)
VOREL_GALLERY_GETTER(nativeGetCropOriginY, getCropOriginY)
VOREL_GALLERY_GETTER(nativeGetCropSizeWidth, getCropSizeWidth)
VOREL_GALLERY_GETTER(nativeGetCropSizeHeight, getCropSizeHeight)
VOREL_GALLERY_GETTER(nativeRegionCancel, decodeRegionCancel)
#undef VOREL_GALLERY_GETTER

JNIEXPORT jstring JNICALL Java_com_hdn_halden_gallery_decoder_regiondecoder_VorelCodecRegionDecoder_nativeGetMake(
    JNIEnv *env, jclass, jlong handle) {
    const char *make = getExifMake(region_of(handle));
    return make ? new_string(env, make, sizeof VDngMetaData::make) : nullptr;
}

JNIEXPORT jint JNICALL Java_com_hdn_halden_gallery_decoder_regiondecoder_VorelCodecRegionDecoder_nativeRecycle(
    JNIEnv *, jclass, jlong handle) {
    RegionHandle *region = region_of(handle);
    const bool is_png = region && region->fileType == VOREL_IMAGE_PNG && region->decoder;
    void *bytes = is_png ? static_cast<vpng_tile_index *>(region->decoder)->memorySource : nullptr;
    const int32_t result = recycle(region);
    os_release(bytes);
    return result;
}

}  // extern "C"
