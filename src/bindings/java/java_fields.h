// Fields of a Java object by their names, looked up anew at each call: natives keep nothing between calls.
#pragma once

#include <jni.h>

#include <cstddef>
#include <cstdint>

namespace vorel {

// What is logged where a field is not there: a printf format with the field's name. Null: nothing, the field is passed
// over.
struct MissingField {
    const char *tag;
    const char *format;
};

// Signatures: "I" int, "J" long, "Z" boolean, "[B" byte array, kJavaString.
constexpr const char *kJavaString = "Ljava/lang/String;";

struct FieldName {
    const char *name;
    const char *signature;
};

// Every function is false (or 0) where the object has no field of that name and type, which is logged.
class JavaFields {
  public:
    JavaFields(JNIEnv *env, jobject object, const MissingField &missing)
        : env_(env), object_(object), missing_(missing) {}

    // The object has them all; only the first that is missing is logged.
    template <typename... Names>
    bool have(const Names &...names) const {
        return (... && (find(names.name, names.signature) != nullptr));
    }

    bool get(const char *name, int32_t *value) const;
    bool get(const char *name, int64_t *value) const;
    bool get(const char *name, bool *value) const;
    // A local reference, which may be null.
    jbyteArray get_bytes(const char *name) const;

    bool set(const char *name, int32_t value) const;
    bool set(const char *name, int64_t value) const;
    bool set(const char *name, bool value) const;
    // UTF-8 up to a NUL, at most `limit` bytes.
    bool set(const char *name, const char *text, size_t limit) const;
    // A new array; also false without memory.
    bool set_bytes(const char *name, const void *bytes, int32_t length) const;

  private:
    jfieldID find(const char *name, const char *signature) const;

    JNIEnv *env_;
    jobject object_;
    MissingField missing_;
};

}  // namespace vorel
