// Natives that open and close pictures for rectangles.
#include <com_vorelsoft_images_VorelBitmapRegionDecoderNative.h>
#include "bindings/c/binding_log.h"
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/java_fields.h"
#include "bindings/java/java_monitor.h"
#include "bindings/java/java_string.h"
#include "bindings/java/operations/region_opening.h"

namespace vorel {
namespace {

constexpr const char *kResultClass = "com/vorelsoft/images/VorelBitmapRegionDecoderInternal";
constexpr const char *kOptionClass = "com/vorelsoft/images/VrBitmapFactory$Options";
constexpr MissingField kMissing = {kTagBitmapDecoder, "Can't find field %s\n"};
constexpr MissingField kMissingHandle = {kTagBitmapDecoder, "Illegal option field %s"};
constexpr MissingField kMissingSize = {kTagBitmapDecoder, "illegal option field %s"};

// An object that is going to be returned; null where its class is another one than it was compiled with.
jobject new_result(JNIEnv *env) {
    const jclass type = find_class(env, kResultClass);
    if (!type) {
        VOREL_ERROR(kTagBitmapDecoder, "Can't find class VorelBitmapDecoder\n");
        return nullptr;
    }
    const jobject result = env->AllocObject(type);
    env->DeleteLocalRef(type);
    if (clear_exception(env) || !result) {
        VOREL_ERROR(kTagBitmapDecoder, "Can't find an object of VorelBitmapDecoder");
        return nullptr;
    }
    if (!JavaFields(env, result, kMissing).have(FieldName{"mHandle", "J"}, FieldName{"mType", "I"})) return nullptr;
    return result;
}

jobject filled(JNIEnv *env, jobject result, const void *handle, int32_t type) {
    const JavaFields fields(env, result, kMissing);
    fields.set("mHandle", to_handle(handle));
    fields.set("mType", type);
    return result;
}

bool has_option_fields(JNIEnv *env, jobject options) {
    if (!is_instance(env, options, kOptionClass)) {
        VOREL_ERROR(kTagBitmapDecoder, "Illegal option object");
        return false;
    }
    return JavaFields(env, options, kMissingHandle).have(FieldName{"mDecodeHandle", "J"}) &&
           JavaFields(env, options, kMissingSize).have(FieldName{"outWidth", "I"}, FieldName{"outHeight", "I"});
}

// Other threads cancel by the handle as soon as it is there, and must not once its session is on its way out.
void publish_session(JNIEnv *env, jobject options, const DecInfo *session) {
    const JavaMonitor monitor(env, options);
    JavaFields(env, options, kMissingHandle).set("mDecodeHandle", to_handle(session));
}

bool parse_and_scan(JNIEnv *env, jobject options, RegionOpening *opening) {
    if (!opening->parse()) return false;
    const JavaFields fields(env, options, kMissingSize);
    fields.set("outWidth", opening->width());
    fields.set("outHeight", opening->height());
    return opening->is_png() || opening->scan();
}

template <typename Start>
jobject new_instance(JNIEnv *env, jobject options, const Start &start) {
    const jobject result = new_result(env);
    RegionOpening opening;
    if (!result || !start(&opening) || !has_option_fields(env, options)) return nullptr;
    publish_session(env, options, opening.session());
    const bool done = parse_and_scan(env, options, &opening);
    if (!done || opening.is_png()) publish_session(env, options, nullptr);
    if (!done) return nullptr;
    if (opening.is_png()) opening.open_png();
    const int32_t type = opening.type();
    return filled(env, result, opening.release(), type);
}

// A side of an open picture; Record is DecInfo or vpng_tile_index.
template <typename Record, typename Side>
jint side_of(jlong handle, Side Record::*side) {
    if (const Record *record = from_handle<Record>(handle)) return static_cast<jint>(record->*side);
    VOREL_ERROR(kTagBitmapDecoder, "Illegal handle\n");
    return 0;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

JNIEXPORT jobject JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeNewInstance(JNIEnv *env,
                                                                                                     jclass,
                                                                                                     jstring path,
                                                                                                     jobject options) {
    const JavaString name(env, path);
    return new_instance(env, options, [&](RegionOpening *opening) { return opening->start(name.path()); });
}

JNIEXPORT jobject JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeNewInstanceBuffer(
    JNIEnv *env, jclass, jbyteArray data, jint offset, jint length, jobject options) {
    return new_instance(env, options, [&](RegionOpening *opening) {
        return opening->start(copy_bytes(env, data, offset, length), length);
    });
}

JNIEXPORT jobject JNICALL
Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeNewInstanceWithOpt(JNIEnv *env, jclass, jlong handle) {
    DecInfo *session = from_handle<DecInfo>(handle);
    if (!session || !session->retainedJpegInfo) return nullptr;
    const jobject result = new_result(env);
    if (!result) return nullptr;
    VORELBRIM_SetDecOption(session, VOREL_OPTION_REGION | VOREL_OPTION_EXACT_KERNEL);
    return filled(env, result, session, VOREL_IMAGE_JPEG);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeGetWidth(JNIEnv *, jclass,
                                                                                               jlong handle) {
    return side_of(handle, &DecInfo::imageWidth);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeGetHeight(JNIEnv *, jclass,
                                                                                                jlong handle) {
    return side_of(handle, &DecInfo::imageHeight);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeGetPNGWidth(JNIEnv *, jclass,
                                                                                                  jlong handle) {
    return side_of(handle, &vpng_tile_index::width);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeGetPNGHeight(JNIEnv *, jclass,
                                                                                                   jlong handle) {
    return side_of(handle, &vpng_tile_index::height);
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativeClean(JNIEnv *, jclass,
                                                                                            jlong handle) {
    close_session(from_handle<DecInfo>(handle));
    return handle != 0;
}

JNIEXPORT jint JNICALL Java_com_vorelsoft_images_VorelBitmapRegionDecoderNative_nativePNGClean(JNIEnv *, jclass,
                                                                                               jlong handle) {
    destroy_png_index(from_handle<vpng_tile_index>(handle));
    return handle != 0;
}

}  // extern "C"
