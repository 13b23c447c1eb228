#include "statistics.h"

#include <vorel/jpeg_statistics.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <vector>

namespace vorel_tool {
namespace {

constexpr int kColumns = 5;
using Row = std::array<std::string, kColumns>;

std::string fixed(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

double milliseconds(uint64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1e6; }

double megabytes_a_second(uint64_t bytes, uint64_t nanoseconds) {
    return nanoseconds ? static_cast<double>(bytes) * 1e3 / static_cast<double>(nanoseconds) : 0.0;
}

bool reads_entropy(int step) { return step >= JPEG_STAT_ENTROPY_FULL && step <= JPEG_STAT_PROGRESSIVE; }

struct Sum {
    uint64_t nanoseconds = 0, entropy_nanoseconds = 0, entropy_bytes = 0;
};

// The steps that were used, with their sum.
template <typename Visit>
Sum for_used_steps(const Visit &visit) {
    vorel_jpeg_stat_collect();
    Sum sum;
    for (int i = 0; i < JPEG_STAT_STEPS; ++i) {
        const JpegStatStep &step = jsInfo.steps[i];
        sum.nanoseconds += step.nanoseconds;
        if (reads_entropy(i)) sum.entropy_nanoseconds += step.nanoseconds;
        if (reads_entropy(i)) sum.entropy_bytes += step.bytes;
    }
    for (int i = 0; i < JPEG_STAT_STEPS; ++i) {
        if (jsInfo.steps[i].calls != 0) visit(vorel_jpeg_stat_name(i), jsInfo.steps[i], sum);
    }
    return sum;
}

std::string aligned(const std::vector<Row> &rows) {
    std::array<size_t, kColumns> widths = {};
    for (const Row &row : rows) {
        for (size_t c = 0; c < kColumns; ++c) widths[c] = std::max(widths[c], row[c].size());
    }
    std::string text;
    for (const Row &row : rows) {
        std::string line = row[0] + std::string(widths[0] - row[0].size(), ' ');
        for (size_t c = 1; c < kColumns; ++c) line += "  " + std::string(widths[c] - row[c].size(), ' ') + row[c];
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

}  // namespace

DecodeStatistics::DecodeStatistics() {
    vorel_jpeg_stat_reset();
    jsInfo.enabled = 1;
}

DecodeStatistics::~DecodeStatistics() { jsInfo.enabled = 0; }

void DecodeStatistics::start() { started_ = std::chrono::steady_clock::now(); }

void DecodeStatistics::stop() { wall_ += std::chrono::steady_clock::now() - started_; }

std::string DecodeStatistics::table() const {
    std::vector<Row> rows = {{"step", "calls", "ms", "%", "MB/s"}};
    const auto percent = [](uint64_t part, uint64_t all) {
        return fixed(all ? 100.0 * static_cast<double>(part) / static_cast<double>(all) : 0.0, 1);
    };
    const Sum sum = for_used_steps([&](const char *name, const JpegStatStep &step, const Sum &all) {
        rows.push_back({name, std::to_string(step.calls), fixed(milliseconds(step.nanoseconds), 2),
                        percent(step.nanoseconds, all.nanoseconds),
                        step.bytes ? fixed(megabytes_a_second(step.bytes, step.nanoseconds), 1) : ""});
    });
    rows.push_back({"all steps", "", fixed(milliseconds(sum.nanoseconds), 2), "100.0", ""});
    rows.push_back({"by the clock", "", fixed(std::chrono::duration<double, std::milli>(wall_).count(), 2), "", ""});
    std::string text = aligned(rows);
    if (sum.entropy_bytes)
        text += "Entropy-coded data: " + fixed(static_cast<double>(sum.entropy_bytes) / 1e6, 2) + " MB at " +
                fixed(megabytes_a_second(sum.entropy_bytes, sum.entropy_nanoseconds), 1) + " MB/s\n";
    return text + "Threads: " + std::to_string(jsInfo.threads) + "\n";
}

nlohmann::ordered_json DecodeStatistics::record() const {
    nlohmann::ordered_json steps = nlohmann::ordered_json::array();
    const Sum sum = for_used_steps([&](const char *name, const JpegStatStep &step, const Sum &) {
        nlohmann::ordered_json entry = {{"step", name}, {"calls", step.calls}, {"nanoseconds", step.nanoseconds}};
        if (step.bytes) entry["bytes"] = step.bytes;
        steps.push_back(entry);
    });
    return {{"steps", steps},
            {"nanoseconds", sum.nanoseconds},
            {"wallNanoseconds", std::chrono::duration_cast<std::chrono::nanoseconds>(wall_).count()},
            {"entropyBytes", sum.entropy_bytes},
            {"threads", jsInfo.threads}};
}

}  // namespace vorel_tool
