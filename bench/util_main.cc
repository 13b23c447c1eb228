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
    const double mine = turns.ours.median(), other = turns.peer.median();
    char text[256];
    std::snprintf(text, sizeof text,
                  "%-32s  ours %7.2f ms  peer %7.2f ms  ratio %5.2f  spread %5.1f %5.1f %%  memcpy %6.2f ms\n",
                  row.name.c_str(), mine * 1e3, other * 1e3, turns.ratios.median(), 100 * turns.ours.spread(),
                  100 * turns.peer.spread(), memory * 1e3);
    return text;
}

void run(const std::string &pattern, Table &table) {
    const std::regex filter(pattern);
    table.emit("Utilities on raw frames, libvorel against libyuv " + std::to_string(LIBYUV_VERSION) + "\n" +
               machine_line() +
               "\n\n"
               "convert, rotate and resize in one thread against the peer's nearest function (resize: bilinear, four\n"
               "samples as ours); pool: ours on a pool against ours in one thread.\n"
               "ratio  the peer's time by ours, the median over turns of one run each: above 1 ours is faster\n"
               "times  of the processor for one thread, of the clock for a pool\n"
               "spread middle half of the times by their median, ours and the peer's\n"
               "memcpy time of a copy that reads and writes as many bytes as the row has to\n\n");
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

int main(int argc, char **argv) {
    return vorel_bench::table_main(argc, argv, "vorel_util_bench", vorel_bench::run);
}
