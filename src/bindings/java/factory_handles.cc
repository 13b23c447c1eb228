// Natives that make sessions for Java to keep.
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

jint keep(JNIEnv *env, const FactorySource &source, jobject object, SizeFields which) {
    const FactoryOptions options(env, object, OptionWording::kHandle);
    int32_t color_format;
    uint32_t option_word;
    if (!options.usable(source.path || source.bytes) || !options.read_kept(&color_format, &option_word)) return 0;
    const bool both = which == SizeFields::kWantedAndOut;
    if (both && !options.fields().have(FieldName{"outWidth", "I"}, FieldName{"outHeight", "I"})) return 0;
    DecInfo *session = keep_jpeg(source, color_format, option_word);
    if (!session) return 0;
    options.fields().set("mDecodeHandle", static_cast<int64_t>(to_handle(session)));
    const int32_t width = static_cast<int32_t>(session->imageWidth);
    const int32_t height = static_cast<int32_t>(session->imageHeight);
    // With an option word the size is the caller's choice.
    if (option_word == 0) options.write_size("mWidth", width, "mHeight", height);
    if (both) options.write_size("outWidth", width, "outHeight", height);
    return 1;
}

jint keep_bytes(JNIEnv *env, jbyteArray data, jobject options, SizeFields which) {
    const JavaBytes bytes(env, data);
    return keep(env, {nullptr, bytes.data(), bytes.size()}, options, which);
}

jint keep_file(JNIEnv *env, jstring path, jobject options, SizeFields which) {
    const JavaString text(env, path);
    return keep(env, {text.path(), nullptr, 0}, options, which);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

jint Java_com_vorelsoft_images_VorelBitmapFactory_nativeCreateDecBufferInfo(JNIEnv *env, jclass, jbyteArray data,
                                                                            jobject options) {
    return keep_bytes(env, data, options, SizeFields::kWantedAndOut);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_CreateDecodeInfoFromBuffer(JNIEnv *env, jclass, jbyteArray data,
                                                                             jobject options) {
    return keep_bytes(env, data, options, SizeFields::kWanted);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_nativeCreateDecFileInfo(JNIEnv *env, jclass, jstring path,
                                                                          jobject options) {
    return keep_file(env, path, options, SizeFields::kWantedAndOut);
}

jint Java_com_vorelsoft_images_VorelBitmapFactory_CreateDecodeInfoFromFile(JNIEnv *env, jclass, jstring path,
                                                                           jobject options) {
    return keep_file(env, path, options, SizeFields::kWanted);
}

}  // extern "C"
