// How a baseline decode could be spread over threads: the choice, apart from the methods themselves.
#pragma once

#include <cstdint>

namespace vorel {

enum class DecodeMethod : uint8_t {
    kPlain,       // one thread
    kPool,        // bands from checkpoints, on a pool
    kRestart,     // bands that start at restart markers
    kTwoSessions  // a top and a bottom band
};

// What the choice looks at. Sizes in pixels.
struct DecodeRequest {
    int32_t source_width, source_height;
    int32_t width, height;  // wanted
    int32_t sample_size;
    int32_t components;
    int32_t mcu_width, mcu_height;
    int32_t restart_interval;  // in MCUs, 0 without
    int64_t input_bytes;
    bool progressive;
    bool walk_ahead;  // the session asks for the walk at 1/8 in front of the pool
    bool has_window;  // a window's height is set already
};

// The caller's among them.
constexpr int32_t kMostBandThreads = 6;

// What the methods need to know besides.
struct DecodeSplit {
    DecodeMethod method;
    int32_t sample_size;  // the reduction that the bands are counted in
    int32_t band_rows;    // source rows of a band
    int32_t bands;
    int32_t threads;
    bool walk_ahead;
};

DecodeSplit choose_method(const DecodeRequest &request);

}  // namespace vorel
