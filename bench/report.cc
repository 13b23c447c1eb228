// The table of results as text.
#include "report.h"

#include <stdio.h>

#include <jpeglib.h>

#include <cstdio>

#include "machine.h"

namespace vorel_bench {
#define VOREL_TEXT_OF(macro) VOREL_TEXT(macro)
#define VOREL_TEXT(value) #value

std::string table_header() {
    return "JPEG decoding, libvorel against libjpeg-turbo " VOREL_TEXT_OF(LIBJPEG_TURBO_VERSION) "\n" + machine_line() +
           "\n\n"
           "decode/SAMPLING/SIZE/SCALE, and what is unlike RGBA, quality 90, no restart markers, from memory.\n"
           "MB/s   10^6 bytes a second of the whole picture at 3 bytes a pixel, whatever the row decodes to\n"
           "ratio  our speed by the peer's, the median over turns of one decode each: above 1 libvorel is faster\n"
           "spread middle half of the times by their median, ours and the peer's\n"
           "heap   largest use besides input and output, in KiB, ours and the peer's\n"
           "b/px   bits a pixel of the JPEG\n"
           "diff   largest difference between the two outputs; - where their sizes differ: the peer fits a screen of\n"
           "       1080 x 2400 only by the next larger scale in eighths, and does not resample\n\n";
}

std::string table_line(const std::string &name, const Result &result) {
    char text[256], diff[16] = "-";
    if (result.difference >= 0) std::snprintf(diff, sizeof diff, "%d", result.difference);
    std::snprintf(text, sizeof text,
                  "%-32s  ours %5.0f MB/s  peer %5.0f MB/s  ratio %.2f  spread %4.1f %4.1f %%  heap %6.0f %6.0f KiB  "
                  "%.1f b/px  diff %s\n",
                  name.c_str(), result.picture_mb / result.ours.median_s, result.picture_mb / result.peer.median_s,
                  result.ratio, 100 * result.ours.spread, 100 * result.peer.spread,
                  static_cast<double>(result.ours.heap_peak) / 1024, static_cast<double>(result.peer.heap_peak) / 1024,
                  result.bits_per_pixel, diff);
    return text;
}

}  // namespace vorel_bench
