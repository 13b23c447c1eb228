#include "bindings/java/java_string.h"

#include <cstring>

#include "bindings/java/java_calls.h"
#include "bindings/java/operations/unicode.h"

namespace vorel {

JavaString::JavaString(JNIEnv *env, jstring string) {
    if (!string) return;
    const jsize length = env->GetStringLength(string);
    const size_t count = static_cast<size_t>(length);
    const OsBlock units(os_allocate((count + 1) * sizeof(jchar)));
    if (!units) return;
    env->GetStringRegion(string, 0, length, units.as<jchar>());
    if (clear_exception(env)) return;
    text_.reset(utf8_of(units.as<uint16_t>(), count));
    if (!text_) return;
    for (size_t i = 0; i < count; ++i) {
        if (units.as<uint16_t>()[i] == 0) text_.as<char>()[0] = '\0';
    }
}

jstring new_string(JNIEnv *env, const char *text, size_t limit) {
    size_t count;
    const OsBlock units(utf16_of(text, limit, &count));
    if (!units) return nullptr;
    const jstring made = env->NewString(units.as<jchar>(), static_cast<jsize>(count));
    return clear_exception(env) ? nullptr : made;
}

}  // namespace vorel
