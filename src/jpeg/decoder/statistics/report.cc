// The counters as text, through the log.
#include <cstdio>

#include "core/core.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

constexpr const char *kNames[JPEG_STAT_STEPS] = {
    "headers",          "set-up",          "entropy, full",   "entropy, scaled", "entropy, skipped",
    "entropy, ahead",   "progressive",     "inverse DCT 8x8", "inverse DCT 8x4", "inverse DCT 4x8",
    "inverse DCT 4x4",  "inverse DCT 4x2", "inverse DCT 2x4", "inverse DCT 2x2", "inverse DCT 2x1",
    "inverse DCT 1x2",  "inverse DCT 1x1", "inverse DCT 3x3", "upsampling",      "resampling",
    "colour and store", "map pass",        "region",          "merge",           "waiting"};

double milliseconds(uint64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1e6; }

// Bytes a nanosecond are gigabytes a second.
double megabytes_a_second(uint64_t bytes, uint64_t nanoseconds) {
    return nanoseconds ? static_cast<double>(bytes) * 1e3 / static_cast<double>(nanoseconds) : 0.0;
}

template <typename Visit>
void for_used_steps(const Visit &visit) {
    for (int32_t i = 0; i < JPEG_STAT_STEPS; ++i) {
        if (jsInfo.steps[i].calls != 0) visit(vorel_jpeg_stat_name(i), jsInfo.steps[i]);
    }
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

void jpeg_set_stat_info(int32_t id, const char *name) {
    if (id >= 0 && id < JPEG_STAT_STEPS) jsInfo.steps[id].name = name;
}

const char *vorel_jpeg_stat_name(int32_t id) {
    if (id < 0 || id >= JPEG_STAT_STEPS) return nullptr;
    return jsInfo.steps[id].name ? jsInfo.steps[id].name : kNames[id];
}

void jpeg_print_stat_simple_info(void) {
    vorel_jpeg_stat_collect();
    char line[2048];
    size_t used = 0;
    line[0] = '\0';
    for_used_steps([&](const char *name, const JpegStatStep &step) {
        if (used >= sizeof line) return;
        const int wrote = std::snprintf(line + used, sizeof line - used, "%s%s %.3f ms", used ? "; " : "", name,
                                        milliseconds(step.nanoseconds));
        if (wrote > 0) used += static_cast<size_t>(wrote);
    });
    VOREL_LOG(kTagJpegStat, "%s\n", line);
}

void stat_print_all_info(void) {
    vorel_jpeg_stat_collect();
    uint64_t total = 0;
    for_used_steps([&](const char *, const JpegStatStep &step) { total += step.nanoseconds; });
    VOREL_LOG(kTagStat, "%-18s %10s %12s %7s %9s\n", "step", "calls", "ms", "%", "MB/s");
    for_used_steps([&](const char *name, const JpegStatStep &step) {
        const double share = total ? 100.0 * static_cast<double>(step.nanoseconds) / static_cast<double>(total) : 0.0;
        char speed[32] = "";
        if (step.bytes) std::snprintf(speed, sizeof speed, "%.1f", megabytes_a_second(step.bytes, step.nanoseconds));
        VOREL_LOG(kTagStat, "%-18s %10llu %12.3f %7.2f %9s\n", name, static_cast<unsigned long long>(step.calls),
                  milliseconds(step.nanoseconds), share, speed);
    });
    VOREL_LOG(kTagStat, "%-18s %10d %12.3f\n", "sum; threads", jsInfo.threads, milliseconds(total));
}

}  // extern "C"
