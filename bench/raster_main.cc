// vorel_raster_bench [REGEX] [--results FILE]: the raster formats, in one thread.
#include "bmp_rows.h"
#include "machine.h"

namespace {

void run(const std::string &filter, vorel_bench::Table &table) {
    table.emit("Raster formats\n" + vorel_bench::machine_line() + "\n\n");
    vorel_bench::bmp_rows(filter, table);
}

}  // namespace

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_raster_bench", run); }
