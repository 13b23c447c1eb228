// The one logging hook. Every diagnostic goes through it; where it ends is decided once per call (see log.cc).
#pragma once

#include <vorel/frame.h>

namespace vorel {

constexpr int kLogInfo = 4;   // the engine, also for failures
constexpr int kLogError = 6;  // the bindings

constexpr const char *kTagJpeg = "VJPEG";
constexpr const char *kTagJpegStat = "VJPEG_STAT";
constexpr const char *kTagStat = "VOREL_STAT";
constexpr const char *kTagImageUtil = "VR_IMAGE_UTIL";

// Never null.
VorelLogPrint log_print();

}  // namespace vorel

// VOREL_LOG("VJPEG", "[%s:%d]", __func__, __LINE__)
#define VOREL_LOG(tag, ...) ::vorel::log_print()(::vorel::kLogInfo, tag, __VA_ARGS__)

// The engine's failure trace. `name` is the function that the line speaks of, which may be the exported wrapper of the
// function that logs.
#define VOREL_TRACE_AS(tag, name) VOREL_LOG(tag, "[%s:%d]", name, __LINE__)
#define VOREL_TRACE(tag) VOREL_TRACE_AS(tag, __func__)
