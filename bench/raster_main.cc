// vorel_raster_bench [REGEX] [--results FILE]: raster formats of 4000 x 3000 pixels from memory, in one thread.
#include "bmp_rows.h"

using namespace vorel_bench;

namespace {

void fill(TimedTable &table) {
    BmpFiles bmp;
    for (const TimedRow &row : bmp.rows()) table.add(row, bmp.room());
}

}  // namespace

int main(int argc, char **argv) {
    return TimedTable::run(
        argc, argv, "Raster formats, libvorel against copies of as many bytes as are read and written\n\n", fill);
}
