// The option object of the factory's natives.
#pragma once

#include <jni.h>

#include <cstdint>

#include "bindings/java/java_fields.h"
#include "bindings/java/operations/picture_decode.h"

namespace vorel {

// What the natives that decode in one call say of an object that they cannot use, and what those with handles say.
enum class OptionWording : uint8_t { kDecode, kHandle };

// Where a size goes: the newer natives write it twice.
enum class SizeFields : uint8_t { kWanted, kWantedAndOut };

// The object's fields. False with a log line for null and for another class.
class FactoryOptions {
  public:
    FactoryOptions(JNIEnv *env, jobject options, OptionWording wording);

    // Also false, with a line of its own, where the native's input is null.
    bool usable(bool has_input) const;
    const JavaFields &fields() const { return fields_; }

    // What a decode is asked for; the fields that are written later are there too.
    bool read(FactoryRequest *request, bool *just_bounds) const;
    // What a kept session is made with, and whether the caller's size stands.
    bool read_kept(int32_t *color_format, uint32_t *option_word) const;
    bool write_size(const char *width_field, int32_t width, const char *height_field, int32_t height) const;

  private:
    JNIEnv *env_;
    jobject options_;
    OptionWording wording_;
    JavaFields fields_;
};

}  // namespace vorel
