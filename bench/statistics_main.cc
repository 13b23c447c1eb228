// vorel_statistics_bench [REGEX] [--results FILE]: what counting the decoder's steps costs, and how much of a decode's
// time the steps account for. On one processor, so that decodes have one thread.
#include <sched.h>
#include <vorel/vorel.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "machine.h"
#include "picture.h"
#include "turns.h"

namespace vorel_bench {
namespace {

void decode(const Jpeg &jpeg, int32_t width, int32_t height, std::vector<uint8_t> *pixels) {
    DecInfo *session =
        VORELBRIM_CreateDecInfo(1, const_cast<uint8_t *>(jpeg.bytes.data()), static_cast<int32_t>(jpeg.bytes.size()),
                                COLOR_RGBA8888, VOREL_OPTION_FIT_STRETCH);
    ImageInfo info;
    const bool done = session && VORELBRIM_Parser(session, &info) == VOREL_IMAGE_JPEG &&
                      VORELBRIM_DecodeJPEG(session, pixels->data(), width, height) == 1;
    if (session) VORELBRIM_DestroyDecInfo(session);
    if (!done) throw std::runtime_error("a decode failed");
}

// The sum of the steps of one decode by its time on the clock.
double share_of_steps(const Jpeg &jpeg, int32_t width, int32_t height, std::vector<uint8_t> *pixels) {
    vorel_jpeg_stat_reset();
    jsInfo.enabled = 1;
    const auto begin = std::chrono::steady_clock::now();
    decode(jpeg, width, height, pixels);
    const std::chrono::duration<double, std::nano> wall = std::chrono::steady_clock::now() - begin;
    jsInfo.enabled = 0;
    vorel_jpeg_stat_collect();
    uint64_t sum = 0;
    for (const JpegStatStep &step : jsInfo.steps) sum += step.nanoseconds;
    return static_cast<double>(sum) / wall.count();
}

void stay_on_one_processor() {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(std::max(sched_getcpu(), 0)), &set);
    if (sched_setaffinity(0, sizeof set, &set) != 0) throw std::runtime_error("cannot be tied to a processor");
}

void run(const Filter &filter, Table &table) {
    stay_on_one_processor();
    table.emit("Counting the steps of JPEG decodes, 12 megapixels 4:2:0 to RGBA, one processor\n" + machine_line() +
               "\nours: with counting; peer: without, so a ratio of 0.99 is a cost of 1%\n" +
               "steps: their sum by the clock's time of the decode, median and range of 21\n\n" + kTurnColumns + "\n");
    const struct {
        const char *name;
        double scale;
        bool progressive;
    } kRows[] = {{"full", 1, false},       {"half", 0.5, false},       {"quarter", 0.25, false},
                 {"eighth", 0.125, false}, {"resampled", 0.44, false}, {"progressive", 1, true}};
    for (const auto &row : kRows) {
        const std::string name = std::string("statistics/12MP/") + row.name;
        if (!filter.wants(name)) continue;
        const Jpeg &jpeg = jpeg_for({.megapixels = 12, .progressive = row.progressive});
        const auto width = static_cast<int32_t>(jpeg.width * row.scale);
        const auto height = static_cast<int32_t>(jpeg.height * row.scale);
        std::vector<uint8_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
        const auto decoded = [&](int32_t counting) {
            jsInfo.enabled = counting;
            decode(jpeg, width, height, &pixels);
            jsInfo.enabled = 0;
        };
        Turns turns = measure_in_turns([&] { decoded(1); }, [&] { decoded(0); }, {}, false, {3, 11, 61});
        table.emit(line_of(name, &turns, 0));
        std::vector<double> shares;
        for (int i = 0; i < 21; ++i) shares.push_back(share_of_steps(jpeg, width, height, &pixels));
        std::sort(shares.begin(), shares.end());
        char text[96];
        std::snprintf(text, sizeof text, "    steps %.3f (%.3f to %.3f)\n", shares[10], shares.front(), shares.back());
        table.emit(text);
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) {
    return vorel_bench::table_main(argc, argv, "vorel_statistics_bench", vorel_bench::run);
}
