// vorel_util_bench [REGEX] [--simd avx2|sse4|scalar] [--results FILE]: the utilities against libyuv in one thread, and
// against themselves on a pool, over frames of 1920 x 1080 and 4000 x 3000 pixels; prints the table, and keeps it in
// FILE. --simd masks wider vectors, ours and the peer's.
#include <libyuv.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "machine.h"
#include "turns.h"
#include "util/simd_targets.h"
#include "util_rows.h"

namespace vorel_bench {
namespace {

// A copy of as many bytes as are read and written stands beside the two.
std::string measured(const UtilRow &row, UtilFrames &frames, std::vector<double> *ratios) {
    const size_t copied = std::min(row.bytes / 2, frames.pixels() * 4);
    const auto copy = [&] { std::memcpy(frames.out(), frames.source(), copied); };
    Turns turns = measure_in_turns(row.ours, row.peer, copy, row.threads, {0.3, 7, 301});
    const double memory = turns.third.median() * static_cast<double>(row.bytes) / static_cast<double>(2 * copied);
    const std::string line = line_of(row.name, &turns, memory);
    ratios->push_back(turns.ratios.median());
    return line;
}

// The widest vectors that both sides may use.
struct SimdChoice {
    const char *option, *name;
    vorel::SimdTarget target;
    int peer_flags;
};
constexpr int kPeerSse4 =
    libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 | libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42;
constexpr SimdChoice kSimdChoices[] = {
    {"avx2", "AVX2", vorel::SimdTarget::kAvx2,
     kPeerSse4 | libyuv::kCpuHasAVX | libyuv::kCpuHasAVX2 | libyuv::kCpuHasERMS | libyuv::kCpuHasFMA3},
    {"sse4", "SSE4", vorel::SimdTarget::kSse4, kPeerSse4},
    {"scalar", "none", vorel::SimdTarget::kScalar, libyuv::kCpuHasX86}};
const SimdChoice *simd_choice;  // null: what the processor runs

bool choose_simd(const std::string &option) {
    for (const SimdChoice &choice : kSimdChoices) {
        if (option != choice.option) continue;
        simd_choice = &choice;
        vorel::limit_simd_targets(choice.target);
        libyuv::MaskCpuFlags(choice.peer_flags);
        return true;
    }
    return false;
}

// Takes --simd out of the arguments; false for a choice that there is not.
bool take_simd_option(int *argc, char **argv) {
    for (int i = 1; i + 1 < *argc; ++i) {
        if (std::strcmp(argv[i], "--simd") != 0) continue;
        if (!choose_simd(argv[i + 1])) return false;
        std::copy(argv + i + 2, argv + *argc + 1, argv + i);
        *argc -= 2;
        return true;
    }
    return true;
}

void run(const Filter &filter, Table &table) {
    table.emit("Utilities on raw frames, libvorel against libyuv " + std::to_string(LIBYUV_VERSION) + "\n" +
               machine_line() + (simd_choice ? std::string("; vectors of both: ") + simd_choice->name : "") +
               "\n\n"
               "convert, rotate and resize in one thread against the peer's nearest function (resize: bilinear, four\n"
               "samples as ours); pool: ours on a pool against ours in one thread.\n" +
               kTurnColumns);
    std::vector<double> ratios;
    for (const auto &[width, height] : {std::pair(1920, 1080), {4000, 3000}}) {
        UtilFrames frames(width, height);
        std::vector<UtilRow> rows = peer_rows(frames);
        if (frames.pixels() >= 4'000'000) {
            for (UtilRow &row : pool_rows(frames)) rows.push_back(std::move(row));
        }
        for (const UtilRow &row : rows)
            if (filter.wants(row.name)) table.emit(measured(row, frames, &ratios));
    }
    double logarithms = 0;
    for (const double ratio : ratios) logarithms += std::log(ratio) / static_cast<double>(ratios.size());
    char text[80];
    std::snprintf(text, sizeof text, "\ngeometric mean of %zu rows: %.2f\n", ratios.size(), std::exp(logarithms));
    table.emit(text);
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) {
    if (!vorel_bench::take_simd_option(&argc, argv)) {
        std::fprintf(stderr, "vorel_util_bench: --simd takes avx2, sse4 or scalar\n");
        return 2;
    }
    return vorel_bench::table_main(argc, argv, "vorel_util_bench", vorel_bench::run);
}
