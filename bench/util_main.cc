// vorel_util_bench [REGEX] [--results FILE]: the utilities against libyuv in one thread, and against themselves on a
// pool, over frames of 1920 x 1080 and 4000 x 3000 pixels; prints the table, and keeps it in FILE.
#include <libyuv.h>

#include "util_rows.h"

using namespace vorel_bench;

namespace {

void fill(TimedTable &table) {
    for (const auto &[width, height] : {std::pair(1920, 1080), {4000, 3000}}) {
        UtilFrames frames(width, height);
        const CopyRoom room = {frames.source(), frames.out(), frames.pixels() * 4};
        for (const TimedRow &row : peer_rows(frames)) table.add(row, room);
        if (frames.pixels() < 4'000'000) continue;
        for (const TimedRow &row : pool_rows(frames)) table.add(row, room);
    }
}

}  // namespace

int main(int argc, char **argv) {
    return TimedTable::run(argc, argv,
                           "Utilities on raw frames, libvorel against libyuv " + std::to_string(LIBYUV_VERSION) +
                               "\n\n"
                               "convert, rotate and resize in one thread against the peer's nearest function (resize: "
                               "bilinear, four\nsamples as ours); pool: ours on a pool against ours in one thread.\n",
                           fill);
}
