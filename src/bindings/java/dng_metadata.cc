// Natives that read the camera data of raw files.
#include <vorel/bindings_java.h>

#include <com_vorelsoft_images_VorelDngBitmap.h>
#include "bindings/java/java_bytes.h"
#include "bindings/java/operations/comparison.h"
#include "core/core.h"

namespace vorel {
namespace {

constexpr jint kFailed = -1;

// A record of 28 KB: too much for the stack of a thread of Java.
OsBlock new_exif() { return OsBlock(os_allocate_zeroed(sizeof(CPVorelDngExif))); }

struct OwnedMetadata {
    CPVorelDngMetadata record = {};
    OwnedMetadata() = default;
    ~OwnedMetadata() { freeCPVorelDngMetadata(&record); }
    OwnedMetadata(const OwnedMetadata &) = delete;
    OwnedMetadata &operator=(const OwnedMetadata &) = delete;
};

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelDngBitmap_parseXMPBufferJNI(JNIEnv *env, jclass, jbyteArray data,
                                                                                  jint length, jlongArray offset,
                                                                                  jintArray size, jobject exif) {
    const JavaBytes bytes(env, data, 0, length);
    const OsBlock record = new_exif();
    if (!bytes || !record || array_length(env, offset) < 1 || array_length(env, size) < 1) return kFailed;
    int64_t packet_offset = 0;
    int32_t packet_size = 0;
    const int32_t status =
        parseXMPBuffer(bytes.data(), bytes.size(), &packet_offset, &packet_size, record.as<CPVorelDngExif>());
    if (status < 0) return status;
    write_long(env, offset, 0, packet_offset);
    write_int(env, size, 0, packet_size);
    copyExifInfo(env, exif, record.as<CPVorelDngExif>());
    return status;
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelDngBitmap_parseMetadataJNI(JNIEnv *env, jclass, jbyteArray data,
                                                                                 jint length, jobject metadata,
                                                                                 jobject exif, jobject originalExif) {
    const JavaBytes bytes(env, data, 0, length);
    const OsBlock source = new_exif(), own = new_exif();
    if (!bytes || !source || !own) return kFailed;
    OwnedMetadata owned;
    const int32_t status =
        parseMetadata(bytes.data(), bytes.size(), &owned.record, source.as<CPVorelDngExif>(), own.as<CPVorelDngExif>());
    if (status < 0) return status;
    copyMetadataInfo(env, metadata, &owned.record);
    copyExifInfo(env, exif, source.as<CPVorelDngExif>());
    copyExifInfo(env, originalExif, own.as<CPVorelDngExif>());
    return status;
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelDngBitmap_parseExifInfoJNI(JNIEnv *env, jclass, jbyteArray data,
                                                                                 jint length, jobject exif) {
    const JavaBytes bytes(env, data, 0, length);
    const OsBlock record = new_exif();
    if (!bytes || !record) return kFailed;
    const int32_t status = parseExifInfo(bytes.data(), bytes.size(), record.as<CPVorelDngExif>());
    if (status >= 0) copyExifInfo(env, exif, record.as<CPVorelDngExif>());
    return status;
}

JNIEXPORT jdouble JNICALL Java_com_vorelsoft_images_VorelDngBitmap_Psnr(JNIEnv *env, jclass, jbyteArray first,
                                                                        jbyteArray second, jint length) {
    const JavaBytes a(env, first, 0, length), b(env, second, 0, length);
    return a && b ? psnr(a.data(), b.data(), static_cast<size_t>(length)) : 0;
}

}  // extern "C"
