// Natives that decode whole pictures for galleries.
#include <vorel/bindings.h>

#include <algorithm>

#include <com_hdn_halden_gallery_decoder_VorelCodecInterface.h>
#include "bindings/c/owned_session.h"
#include "bindings/c/picture_bytes.h"
#include "bindings/c/picture_source.h"
#include "bindings/java/gallery_support.h"
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/java_fields.h"
#include "bindings/java/java_string.h"
#include "core/path_source.h"

namespace vorel {
namespace {

// What there is to decode: a raw file has no type that the detection knows.
struct GalleryPicture {
    int32_t type = VOREL_IMAGE_NONE, width = 0, height = 0;
    bool is_raw() const { return type == VOREL_IMAGE_DNG; }
};

// The default crop is what is developed.
GalleryPicture raw_picture(const PictureSource &source) {
    VrMetadata metadata = {};
    const int32_t known = source.is_path() ? VrParseMetadata(source.path(), &metadata)
                                           : VrParseMetadataBA(source.at, source.length, &metadata);
    if (known != 1) return {};
    return {VOREL_IMAGE_DNG, metadata.cropWidth >= 0 ? metadata.cropWidth : static_cast<int32_t>(metadata.width),
            metadata.cropHeight >= 0 ? metadata.cropHeight : static_cast<int32_t>(metadata.height)};
}

GalleryPicture find_picture(const PictureSource &source) {
    GalleryPicture picture;
    picture.type = source.image_type(&picture.width, &picture.height);
    return picture.type == VOREL_IMAGE_NONE ? raw_picture(source) : picture;
}

// Into width x height pixels. A file that has another size by now fails.
bool decode(const PictureSource &source, const GalleryPicture &picture, int32_t sample, int32_t width, int32_t height,
            void *pixels) {
    VrOptions options = {};
    options.sampleSize = sample;
    options.colorFormat = COLOR_RGBA8888;
    if (!picture.is_raw()) {
        const PictureSide expected = {width, height};
        return decode_image(source, pixels, COLOR_RGBA8888, &expected, &options) == 1;
    }
    if (source.is_path()) return VrDecodeDNGFile(source.path(), pixels, width, height, &options) == 1;
    return VrDecodeDNGByteArray(source.at, source.length, pixels, width, height, &options) == 1;
}

jobject decode_source(JNIEnv *env, const PictureSource &source, jobject options) {
    GalleryOptions wanted;
    if (!read_options(env, kTagGallery, options, &wanted)) return nullptr;
    const GalleryPicture picture = find_picture(source);
    if (wanted.just_bounds) {
        write_size(env, kTagGallery, options, picture.width, picture.height);
        return nullptr;
    }
    if (picture.type != VOREL_IMAGE_JPEG && picture.type != VOREL_IMAGE_PNG && !picture.is_raw()) return nullptr;
    const int32_t sample = std::max(wanted.sample, 1);
    // A raw file has at least one pixel at any reduction.
    const int32_t least = picture.is_raw() && picture.width > 0 && picture.height > 0;
    const int32_t width = std::max(reduced_side(picture.width, sample), least);
    const int32_t height = std::max(reduced_side(picture.height, sample), least);
    return decoded_bitmap(env, kTagGallery, width, height,
                          [&](void *pixels) { return decode(source, picture, sample, width, height, pixels); });
}

void log_null(const void *source, const void *options) {
    VOREL_ERROR(kTagGallery, "error path : %x, options : %x", static_cast<unsigned>(to_handle(source)),
                static_cast<unsigned>(to_handle(options)));
}

// The preview of a raw file in memory.
jobject decode_preview(JNIEnv *env, const void *bytes, int32_t length, bool just_bounds, jobject options) {
    int32_t width = 0, height = 0;
    if (VrParseDNGPreview(bytes, length, &width, &height) != 1) return nullptr;
    write_size(env, kTagGallery, options, width, height);
    if (just_bounds) return nullptr;
    return decoded_bitmap(env, kTagGallery, width, height,
                          [&](void *pixels) { return VrDecodeDNGPreview(bytes, length, pixels, width, height) == 1; });
}

constexpr FieldName kMetadataFields[] = {{"make", kJavaString},  {"imageWidth", "I"},  {"imageHeight", "I"},
                                         {"cropOriginX", "I"},   {"cropOriginY", "I"}, {"cropSizeWidth", "I"},
                                         {"cropSizeHeight", "I"}};

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

JNIEXPORT jobject JNICALL Java_com_hdn_halden_gallery_decoder_VorelCodecInterface_nativeDecodeFile(JNIEnv *env, jclass,
                                                                                                   jstring path,
                                                                                                   jobject options) {
    const JavaString name(env, path);
    if (!name.path() || !options) {
        log_null(path, options);
        return nullptr;
    }
    return decode_source(env, {name.path(), 0}, options);
}

JNIEXPORT jobject JNICALL Java_com_hdn_halden_gallery_decoder_VorelCodecInterface_nativeDecodeByteArray(
    JNIEnv *env, jclass, jbyteArray data, jint offset, jint length, jobject options) {
    const JavaBytes bytes(env, data, offset, length);
    if (!bytes || !options) {
        log_null(data, options);
        return nullptr;
    }
    return decode_source(env, {bytes.data(), bytes.size()}, options);
}

JNIEXPORT jobject JNICALL Java_com_hdn_halden_gallery_decoder_VorelCodecInterface_nativeDecodePreview(JNIEnv *env,
                                                                                                      jclass,
                                                                                                      jstring path,
                                                                                                      jobject options) {
    const JavaString name(env, path);
    if (!name.path() || !options) {
        log_null(path, options);
        return nullptr;
    }
    GalleryOptions wanted;
    if (!read_options(env, kTagGallery, options, &wanted)) return nullptr;
    const int32_t size = file_size(kLogError, kTagGallery, name.path());
    if (size <= 0) return nullptr;
    const OwnedSession file(open_whole_file(name.path(), size, COLOR_RGBA8888, 0));
    return file ? decode_preview(env, file->fileBuffer, file->ioInfo->size, wanted.just_bounds, options) : nullptr;
}

JNIEXPORT jint JNICALL Java_com_hdn_halden_gallery_decoder_VorelCodecInterface_nativeParseMetadata(JNIEnv *env, jclass,
                                                                                                   jstring path,
                                                                                                   jobject metadata) {
    const JavaString name(env, path);
    if (!name.path() || !metadata) {
        log_null(path, metadata);
        return 0;
    }
    const JavaFields fields(env, metadata, MissingField{kTagGallery, "Illegal option field %s"});
    for (const FieldName &field : kMetadataFields) {
        if (!fields.have(field)) return 0;
    }
    VrMetadata record = {};
    if (VrParseMetadata(name.path(), &record) != 1) return 0;
    fields.set("make", record.make, sizeof record.make);
    fields.set("imageWidth", static_cast<int32_t>(record.width));
    fields.set("imageHeight", static_cast<int32_t>(record.height));
    fields.set("cropOriginX", record.cropOriginX);
    fields.set("cropOriginY", record.cropOriginY);
    fields.set("cropSizeWidth", record.cropWidth);
    fields.set("cropSizeHeight", record.cropHeight);
    return 1;
}

}  // extern "C"
