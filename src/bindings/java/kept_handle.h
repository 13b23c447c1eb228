// The session behind a handle of Java's in the natives that are called again and again.
#pragma once

#include <jni.h>

#include "bindings/c/binding_log.h"
#include "bindings/c/owned_session.h"
#include "bindings/java/java_calls.h"
#include "bindings/java/operations/kept_session.h"

namespace vorel {

// Null with a log line of the native.
inline DecInfo *kept_session(jlong handle, const char *native) {
    if (!handle) VOREL_ERROR(kTagBitmapDecoder, "%s : pDecInfo is NULL", native);
    return from_handle<DecInfo>(handle);
}

// Ends the session where the result does.
inline jint ended(DecInfo *session, int32_t result, int32_t flags) {
    if (ends_session(result, flags)) close_session(session);
    return result;
}

}  // namespace vorel
