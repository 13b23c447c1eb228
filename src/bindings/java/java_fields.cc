#include "bindings/java/java_fields.h"

#include "bindings/c/binding_log.h"
#include "bindings/java/java_bytes.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/java_string.h"

namespace vorel {

jfieldID JavaFields::find(const char *name, const char *signature) const {
    const jclass of = env_->GetObjectClass(object_);
    const jfieldID field = env_->GetFieldID(of, name, signature);
    const bool failed = clear_exception(env_) || !field;
    env_->DeleteLocalRef(of);
    if (!failed) return field;
    if (missing_.format) log_print()(kLogError, missing_.tag, missing_.format, name);
    return nullptr;
}

bool JavaFields::get(const char *name, int32_t *value) const {
    const jfieldID field = find(name, "I");
    if (field) *value = env_->GetIntField(object_, field);
    return field != nullptr;
}

bool JavaFields::get(const char *name, int64_t *value) const {
    const jfieldID field = find(name, "J");
    if (field) *value = env_->GetLongField(object_, field);
    return field != nullptr;
}

bool JavaFields::get(const char *name, bool *value) const {
    const jfieldID field = find(name, "Z");
    if (field) *value = env_->GetBooleanField(object_, field) != JNI_FALSE;
    return field != nullptr;
}

jbyteArray JavaFields::get_bytes(const char *name) const {
    const jfieldID field = find(name, "[B");
    return field ? static_cast<jbyteArray>(env_->GetObjectField(object_, field)) : nullptr;
}

bool JavaFields::set(const char *name, int32_t value) const {
    const jfieldID field = find(name, "I");
    if (field) env_->SetIntField(object_, field, value);
    return field != nullptr;
}

bool JavaFields::set(const char *name, int64_t value) const {
    const jfieldID field = find(name, "J");
    if (field) env_->SetLongField(object_, field, value);
    return field != nullptr;
}

bool JavaFields::set(const char *name, bool value) const {
    const jfieldID field = find(name, "Z");
    if (field) env_->SetBooleanField(object_, field, value ? JNI_TRUE : JNI_FALSE);
    return field != nullptr;
}

bool JavaFields::set(const char *name, const char *text, size_t limit) const {
    const jfieldID field = find(name, kJavaString);
    if (!field) return false;
    const jstring string = new_string(env_, text, limit);
    if (!string) return false;
    env_->SetObjectField(object_, field, string);
    env_->DeleteLocalRef(string);
    return true;
}

bool JavaFields::set_bytes(const char *name, const void *bytes, int32_t length) const {
    const jfieldID field = find(name, "[B");
    if (!field) return false;
    const jbyteArray array = new_bytes(env_, bytes, length);
    if (!array) return false;
    env_->SetObjectField(object_, field, array);
    env_->DeleteLocalRef(array);
    return true;
}

}  // namespace vorel
