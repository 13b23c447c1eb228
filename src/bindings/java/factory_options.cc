#include "bindings/java/factory_options.h"

#include "bindings/c/binding_log.h"
#include "bindings/java/java_calls.h"

namespace vorel {
namespace {

constexpr const char *kClass = "com/vorelsoft/images/VrBitmapFactory$Options";

constexpr MissingField missing(OptionWording wording) {
    return {kTagBitmapDecoder,
            wording == OptionWording::kDecode ? "illegal option field %s" : "Illegal option field %s"};
}

}  // namespace

FactoryOptions::FactoryOptions(JNIEnv *env, jobject options, OptionWording wording)
    : env_(env), options_(options), wording_(wording), fields_(env, options, missing(wording)) {}

bool FactoryOptions::usable(bool has_input) const {
    if (!has_input || !options_) {
        VOREL_ERROR(kTagBitmapDecoder, "parameter is null");
        return false;
    }
    if (is_instance(env_, options_, kClass)) return true;
    VOREL_ERROR(kTagBitmapDecoder, "%s",
                wording_ == OptionWording::kDecode ? "illegal option object" : "Illegal option object");
    return false;
}

bool FactoryOptions::read(FactoryRequest *request, bool *just_bounds) const {
    int32_t speed, option_word;
    if (!fields_.get("inSampleSize", &request->sample_size) || !fields_.get("mWidth", &request->width) ||
        !fields_.get("mHeight", &request->height) || !fields_.get("inPreferredConfig", &request->color_format) ||
        !fields_.get("inQualityOverSpeed", &speed) || !fields_.get("inDecodeFromOption", &option_word) ||
        !fields_.get("inJustDecodeBounds", just_bounds)) {
        return false;
    }
    request->option_word = static_cast<uint32_t>(option_word);
    return fields_.have(FieldName{"outWidth", "I"}, FieldName{"outHeight", "I"});
}

bool FactoryOptions::read_kept(int32_t *color_format, uint32_t *option_word) const {
    int32_t speed, word;
    if (!fields_.get("inPreferredConfig", color_format) || !fields_.get("inQualityOverSpeed", &speed) ||
        !fields_.get("inDecodeFromOption", &word)) {
        return false;
    }
    *option_word = static_cast<uint32_t>(word);
    return fields_.have(FieldName{"mWidth", "I"}, FieldName{"mHeight", "I"}, FieldName{"mDecodeHandle", "J"});
}

bool FactoryOptions::write_size(const char *width_field, int32_t width, const char *height_field,
                                int32_t height) const {
    return fields_.set(width_field, width) && fields_.set(height_field, height);
}

}  // namespace vorel
