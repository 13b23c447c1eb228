// vorel_threads_bench [REGEX] [--results FILE]: decodes on several threads against the same decodes on one.
#include <vorel/jpeg_threads.h>

#include <cstdio>
#include <stdexcept>

#include "jpeg/decoder/threads/speculation.h"
#include "machine.h"
#include "picture.h"
#include "turns.h"
#include "util/task_group.h"

namespace vorel_bench {
namespace {

using DecodeFn = int32_t (*)(DecInfo *session, void *output, int32_t width, int32_t height);

int32_t choose(DecInfo *session, void *output, int32_t width, int32_t height) {
    return VORELBRIM_PDecodeJPEG(session, output, width, height, 0);
}
int32_t restart_bands(DecInfo *session, void *output, int32_t width, int32_t height) {
    return VORELBRIM_PDecodeJPEG_RST(session, output, width, height, 1);
}
int32_t two_sessions(DecInfo *session, void *output, int32_t width, int32_t height) {
    return VORELBRIM_PDecodeJPEG_No_RST(session, output, width, height, 1);
}

struct Case {
    const char *name;
    DecodeFn decode;
    int megapixels, reduction;
    bool restarts, from_file;
};
constexpr Case kCases[] = {
    {"restart-bands", restart_bands, 12, 1, true, false},
    {"restart-bands", restart_bands, 40, 1, true, false},
    {"restart-bands", restart_bands, 40, 1, true, true},
    {"two-sessions", two_sessions, 12, 1, false, false},
    {"two-sessions", two_sessions, 40, 1, false, false},
    {"two-sessions", two_sessions, 40, 1, false, true},
    {"pool", choose, 1, 1, false, false},
    {"pool", choose, 1, 2, false, false},
    {"pool", choose, 1, 4, false, false},
    {"pool", choose, 12, 1, false, false},
    {"pool", choose, 40, 1, false, false},
    {"pool", choose, 12, 2, false, false},
    {"pool", choose, 40, 2, false, false},
    {"pool", choose, 12, 4, false, false},
    {"pool", choose, 40, 4, false, false},
    {"pool", choose, 1, 1, true, false},
    {"pool", choose, 12, 1, true, false},
    {"pool", choose, 40, 2, true, false},
    {"pool", choose, 40, 4, true, false},
    {"pool", choose, 40, 8, true, false},
    {"speculation", VORELBRIM_DecodeJPEG, 12, 8, false, false},
    {"speculation", VORELBRIM_DecodeJPEG, 40, 8, false, false},
    {"speculation", VORELBRIM_DecodeJPEG, 40, 8, false, true},
    {"speculation", VORELBRIM_DecodeJPEG, 40, 16, false, false},
};

void decode(const Jpeg &jpeg, const Case &c, DecodeFn decode, Bytes *out) {
    const int32_t width = (jpeg.width + c.reduction / 2) / c.reduction;
    const int32_t height = (jpeg.height + c.reduction / 2) / c.reduction;
    out->resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    void *source = c.from_file ? static_cast<void *>(const_cast<char *>(jpeg.path.c_str()))
                               : const_cast<uint8_t *>(jpeg.bytes.data());
    DecInfo *session = VORELBRIM_CreateDecInfo(c.from_file ? 0 : 1, source, static_cast<int32_t>(jpeg.bytes.size()),
                                               COLOR_RGBA8888, 0);
    const bool done = decode(session, out->data(), width, height) == 1;
    VORELBRIM_DestroyDecInfo(session);
    if (!done) throw std::runtime_error("a decode failed");
}

void run(const Filter &filter, Table &table) {
    table.emit("Threads, 4:2:0, quality 90, RGBA; " + std::to_string(vorel::usable_processors()) + " processors\n" +
               machine_line() + "\nours: on the threads of each method; peer: the same decode on one thread\n\n" +
               kTurnColumns);
    for (const Case &c : kCases) {
        const std::string name = std::string("threads/") + c.name + "/" + std::to_string(c.megapixels) + "MP/1-" +
                                 std::to_string(c.reduction) + (c.restarts ? "/restarts" : "") +
                                 (c.from_file ? "/file" : "");
        if (!filter.wants(name)) continue;
        const Jpeg &jpeg = jpeg_for({.megapixels = c.megapixels, .restarts = c.restarts});
        Bytes ours, peer;
        Turns turns = measure_in_turns([&] { decode(jpeg, c, c.decode, &ours); },
                                       [&] {
                                           vorel::set_speculation_chunk(-1);
                                           decode(jpeg, c, VORELBRIM_DecodeJPEG, &peer);
                                           vorel::set_speculation_chunk(0);
                                       },
                                       {}, true, {4, 9, 41});
        if (ours != peer) throw std::runtime_error(name + ": the pixels differ");
        table.emit(line_of(name, &turns, 0));
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_threads_bench", vorel_bench::run); }
