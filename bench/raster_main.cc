// vorel_raster_bench [REGEX] [--results FILE]: GIF stills and animations against giflib and a plain composition in one
// thread; prints the table, and keeps it in FILE.
#include <gif_lib.h>

#include <regex>
#include <vector>

#include "gif_rows.h"
#include "machine.h"

namespace vorel_bench {
namespace {

void fill(const std::string &pattern, TurnTable &table) {
    const std::regex filter(pattern);
    table.emit(
        "Raster formats, libvorel against giflib " + std::to_string(GIFLIB_MAJOR) + "." + std::to_string(GIFLIB_MINOR) +
        "." + std::to_string(GIFLIB_RELEASE) + "\n" + machine_line() +
        "\n\n"
        "gif/still: a file from memory to RGBA; gif/animation: all frames, each composed into an output of its\n"
        "own. The peer is giflib's indices, by whole images into one buffer, and loops over pixels. All outputs\n"
        "are compared before anything is measured.\n" +
        kTurnColumns);
    std::vector<uint8_t> from(size_t{4} << 20, 1), to(from.size());
    for (const TurnRow &row : gif_rows())
        if (std::regex_search(row.name, filter)) table.emit(measured(row, {to.data(), from.data(), from.size()}));
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::run_turns(argc, argv, "vorel_raster_bench", vorel_bench::fill); }
