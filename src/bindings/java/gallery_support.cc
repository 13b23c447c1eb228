#include "bindings/java/gallery_support.h"

#include "bindings/java/java_calls.h"
#include "bindings/java/java_fields.h"

namespace vorel {
namespace {

constexpr const char *kOptionClass = "android/graphics/BitmapFactory$Options";

JavaFields fields_of(JNIEnv *env, const char *tag, jobject options) {
    return JavaFields(env, options, MissingField{tag, "Illegal option field %s"});
}

}  // namespace

bool read_options(JNIEnv *env, const char *tag, jobject options, GalleryOptions *out) {
    if (!is_instance(env, options, kOptionClass)) {
        VOREL_ERROR(tag, "Illegal option object");
        return false;
    }
    const JavaFields fields = fields_of(env, tag, options);
    return fields.get("inJustDecodeBounds", &out->just_bounds) && fields.get("inSampleSize", &out->sample);
}

void write_size(JNIEnv *env, const char *tag, jobject options, int32_t width, int32_t height) {
    const JavaFields fields = fields_of(env, tag, options);
    fields.set("outWidth", width);
    fields.set("outHeight", height);
}

}  // namespace vorel
