// vorel_util_bench [REGEX] [--results FILE]: the utilities against libyuv in one thread, and against themselves on a
// pool, over frames of 1920 x 1080 and 4000 x 3000 pixels; prints the table, and keeps it in FILE.
#include <libyuv.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <regex>

#include "machine.h"
#include "turns.h"
#include "util_rows.h"

namespace vorel_bench {
namespace {

// A copy of as many bytes as are read and written stands beside the two.
std::string measured(const UtilRow &row, UtilFrames &frames) {
    const size_t copied = std::min(row.bytes / 2, frames.pixels() * 4);
    const auto copy = [&] { std::memcpy(frames.out(), frames.source(), copied); };
    Turns turns = measure_in_turns(row.ours, row.peer, copy, row.threads);
    const double memory = turns.third.median() * static_cast<double>(row.bytes) / static_cast<double>(2 * copied);
    return line_of(row.name, &turns, memory);
}

void run(const std::string &pattern, Table &table) {
    const std::regex filter(pattern);
    table.emit("Utilities on raw frames, libvorel against libyuv " + std::to_string(LIBYUV_VERSION) + "\n" +
               machine_line() +
               "\n\n"
               "convert, rotate and resize in one thread against the peer's nearest function (resize: bilinear, four\n"
               "samples as ours); pool: ours on a pool against ours in one thread.\n" +
               kTurnColumns);
    for (const auto &[width, height] : {std::pair(1920, 1080), {4000, 3000}}) {
        UtilFrames frames(width, height);
        std::vector<UtilRow> rows = peer_rows(frames);
        if (frames.pixels() >= 4'000'000) {
            for (UtilRow &row : pool_rows(frames)) rows.push_back(std::move(row));
        }
        for (const UtilRow &row : rows)
            if (std::regex_search(row.name, filter)) table.emit(measured(row, frames));
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_util_bench", vorel_bench::run); }
