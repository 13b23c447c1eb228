// Result codes that the engine's functions hand to one another, and the values of the error word.
#pragma once

#include <cstdint>

#include "util/atomics.h"

namespace vorel {

// Row steps and drivers of the JPEG decoder.
constexpr int32_t kStepMoreRows = 100;  // one iMCU row done, more to come
constexpr int32_t kStepEnd = 101;       // the last wanted iMCU row is done
constexpr int32_t kStepBadMcu = 102;    // entropy decoding failed with more than 15 output rows due
constexpr int32_t kStepOk = 200;
constexpr int32_t kStepFailed = 201;

// Iterative entries, and the cancel value of DecInfo.abortFlag.
constexpr int32_t kIterMore = 4;
constexpr int32_t kIterCancelled = 6;
constexpr uint32_t kAbortCancelled = 6;

// gVORELBRIM_Error.
constexpr uint32_t kErrorNone = 0;
constexpr uint32_t kErrorNullSession = 1;
constexpr uint32_t kErrorJpegDecoder = 2;
constexpr uint32_t kErrorOutOfMemory = 4;
constexpr uint32_t kErrorHeader = 5;
constexpr uint32_t kErrorInputKind = 11;
constexpr uint32_t kErrorEmptyMemory = 12;
constexpr uint32_t kErrorOpen = 13;

}  // namespace vorel

extern "C" uint32_t gVORELBRIM_Error;

namespace vorel {

inline void set_error(uint32_t code) { store_relaxed(&gVORELBRIM_Error, code); }
inline uint32_t last_error() { return load_relaxed(&gVORELBRIM_Error); }

}  // namespace vorel
