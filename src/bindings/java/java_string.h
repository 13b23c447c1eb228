// Strings of Java. JNI's own UTF-8 is a dialect: characters beyond U+FFFF would not be found in a file name, and text
// of a file that is not the dialect may end the process.
#pragma once

#include <jni.h>

#include <cstddef>

#include "core/core.h"

namespace vorel {

// A string as UTF-8.
class JavaString {
  public:
    // Null is allowed.
    JavaString(JNIEnv *env, jstring string);

    // Null for a null string and without memory. A string with a NUL inside names no file: "".
    const char *path() const { return text_.as<const char>(); }

  private:
    OsBlock text_;
};

// A new string of UTF-8 that ends at a NUL or behind `limit` bytes; U+FFFD for what is none. Null without memory.
jstring new_string(JNIEnv *env, const char *text, size_t limit);

}  // namespace vorel
