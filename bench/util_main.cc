// vorel_util_bench [REGEX] [--results FILE]: the utilities against libyuv in one thread, and against themselves on a
// pool, over frames of 1920 x 1080 and 4000 x 3000 pixels; prints the table, and keeps it in FILE.
#include <libyuv.h>

#include <regex>

#include "machine.h"
#include "util_rows.h"

namespace vorel_bench {
namespace {

void fill(const std::string &pattern, TurnTable &table) {
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
        const CopyRoom room = {frames.out(), frames.source(), frames.pixels() * 4};
        for (const UtilRow &row : rows)
            if (std::regex_search(row.name, filter)) table.emit(measured(row, room));
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::run_turns(argc, argv, "vorel_util_bench", vorel_bench::fill); }
