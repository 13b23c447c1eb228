// Natives that look at a picture: its size, its Exif data; and those that stop a session.
#include <jni.h>

#include <com_vorelsoft_images_VorelBitmapFactory.h>
#include "bindings/c/binding_log.h"
#include "bindings/java/factory_options.h"
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/java_string.h"
#include "bindings/java/operations/kept_session.h"

namespace vorel {
namespace {

jint report_size(JNIEnv *env, const FactorySource &source, jobject object, SizeFields which) {
    const FactoryOptions options(env, object, OptionWording::kHandle);
    if (!options.usable(source.path || source.bytes)) return 0;
    const bool both = which == SizeFields::kWantedAndOut;
    if (!options.fields().have(FieldName{"mWidth", "I"}, FieldName{"mHeight", "I"})) return 0;
    if (both && !options.fields().have(FieldName{"outWidth", "I"}, FieldName{"outHeight", "I"})) return 0;
    int32_t width, height;
    if (!jpeg_size(source, &width, &height)) return 0;
    options.write_size("mWidth", width, "mHeight", height);
    if (both) options.write_size("outWidth", width, "outHeight", height);
    return 1;
}

jint report_size_of_bytes(JNIEnv *env, jbyteArray data, jobject options, SizeFields which) {
    const JavaBytes bytes(env, data);
    return report_size(env, {nullptr, bytes.data(), bytes.size()}, options, which);
}

jint report_size_of_file(JNIEnv *env, jstring path, jobject options, SizeFields which) {
    const JavaString text(env, path);
    return report_size(env, {text.path(), nullptr, 0}, options, which);
}

jint keep_exif(JNIEnv *env, jstring path, jlong handle, jobject object) {
    const JavaString text(env, path);
    const FactoryOptions options(env, object, OptionWording::kHandle);
    if (!options.usable(text.path() || handle != 0)) return 0;
    if (!options.fields().have(FieldName{"mExifHandle", "J"})) return 0;
    ExifInfo *exif = read_exif(from_handle<DecInfo>(handle), text.path());
    if (!exif) return 0;
    options.fields().set("mExifHandle", static_cast<int64_t>(to_handle(exif)));
    return 1;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jint Java_com_vorelsoft_images_VorelBitmapFactory_nativeGetImageInfoFromBuffer(JNIEnv *env, jclass, jbyteArray data,
                                                                               jobject options) {
    return report_size_of_bytes(env, data, options, SizeFields::kWantedAndOut);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_GetImageInfoFromBuffer(JNIEnv *env, jclass, jbyteArray data,
                                                                         jobject options) {
    return report_size_of_bytes(env, data, options, SizeFields::kWanted);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_nativeGetImageInfoFromFile(JNIEnv *env, jclass, jstring path,
                                                                             jobject options) {
    return report_size_of_file(env, path, options, SizeFields::kWantedAndOut);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_GetImageInfoFromFile(JNIEnv *env, jclass, jstring path,
                                                                       jobject options) {
    return report_size_of_file(env, path, options, SizeFields::kWanted);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_nativeGetExifData(JNIEnv *env, jclass, jstring path, jlong handle,
                                                                    jobject options) {
    return keep_exif(env, path, handle, options);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_GetExifData(JNIEnv *env, jclass, jstring path, jlong handle,
                                                              jobject options) {
    return keep_exif(env, path, handle, options);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_DecodeCancel(JNIEnv *, jclass, jlong handle) {
    return cancel_decode(from_handle<DecInfo>(handle));
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_RegionMapCancel(JNIEnv *, jclass, jlong handle) {
    return cancel_map(from_handle<DecInfo>(handle));
}

}  // extern "C"
