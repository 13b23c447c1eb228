// Log lines of the bindings: errors, under the tag of the class or layer that they belong to.
#pragma once

#include "core/core.h"

namespace vorel {

constexpr const char *kTagFactory = "VrBitmapFactory";              // the C layer
constexpr const char *kTagRegionDecoder = "VrBitmapRegionDecoder";  // its rectangles
constexpr const char *kTagBitmapDecoder = "VrBitmapDecoder";        // Java: factory and region decoder

}  // namespace vorel

#define VOREL_ERROR(tag, ...) ::vorel::log_print()(::vorel::kLogError, tag, __VA_ARGS__)
#define VOREL_ERROR_TRACE(tag) VOREL_ERROR(tag, "[%s:%d]\n", __func__, __LINE__)
