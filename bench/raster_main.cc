// vorel_raster_bench [REGEX] [--results FILE]: the raster formats, in one thread.
#include <gif_lib.h>

#include "bmp_rows.h"
#include "gif_rows.h"
#include "machine.h"

namespace vorel_bench {
namespace {

void run(const Filter &filter, Table &table) {
    table.emit("Raster formats\n" + machine_line() +
               "\n\n"
               "gif/still: a file from memory to RGBA; gif/animation: all frames, each composed into an output of its "
               "own. The\n"
               "peer is giflib " +
               std::to_string(GIFLIB_MAJOR) + "." + std::to_string(GIFLIB_MINOR) + "." +
               std::to_string(GIFLIB_RELEASE) +
               "'s indices, by whole images into one buffer, and loops over pixels. All outputs are compared\n"
               "before anything is measured.\n" +
               kTurnColumns);
    gif_rows(filter, table);
    table.emit("\n");
    bmp_rows(filter, table);
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_raster_bench", vorel_bench::run); }
