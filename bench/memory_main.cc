// vorel_memory_bench [--results FILE]: the most heap that ways of decoding hold at once, the caller's own buffers
// aside, against the size of the picture.
#include <stdio.h>

#include <vorel/vorel.h>

#include <stdexcept>

#include "decoders.h"
#include "heap.h"
#include "picture.h"
#include "turns.h"

namespace vorel_bench {
namespace {

constexpr int kMegapixels[] = {1, 12, 40};
constexpr int32_t kStripRows = 64, kSide = 512;

void require(bool holds) {
    if (!holds) throw std::runtime_error("a decode failed");
}

// A session over the picture's file.
DecInfo *open(const Jpeg &jpeg, uint32_t options) {
    DecInfo *session = VORELBRIM_CreateDecInfo(0, const_cast<char *>(jpeg.path.c_str()), 0, COLOR_RGBA8888, options);
    require(session != nullptr);
    return session;
}

template <typename Run>
int64_t counted(const Run &run) {
    start_heap_count();
    run();
    return stop_heap_count();
}

int64_t whole(const Jpeg &jpeg, uint8_t *pixels, int reduction) {
    return counted([&] {
        DecInfo *session = open(jpeg, 0);
        ImageInfo info;
        require(VORELBRIM_Parser(session, &info) == VOREL_IMAGE_JPEG);
        const int32_t w = jpeg.width / reduction, h = jpeg.height / reduction;
        require(VORELBRIM_DecodeJPEG(session, pixels, w, h) == 1);
        VORELBRIM_DestroyDecInfo(session);
    });
}

int64_t in_strips(const Jpeg &jpeg, uint8_t *pixels) {
    return counted([&] {
        DecInfo *session = open(jpeg, 0);
        int32_t result = 4;
        while (result == 4) result = VORELBRIM_PrepareJPEGIter(session, jpeg.width, jpeg.height);
        require(result == 1);
        for (result = 4; result == 4;)
            result = VORELBRIM_DecodeJPEGIter4LTN(session, pixels, jpeg.width, jpeg.height, VOREL_ITERATE, kStripRows);
        require(result == 1);
        VORELBRIM_DestroyDecInfo(session);
    });
}

// What making the map and a rectangle take beside it, and with what a second and a third time of the rectangle keep.
struct MapHeap {
    int64_t making, rectangle, kept;
};
MapHeap of_map(const Jpeg &jpeg, uint8_t *pixels) {
    DecInfo *session = nullptr;
    MapHeap out;
    out.making = counted([&] {
        session = open(jpeg, VOREL_OPTION_REGION);
        require(VORELBRIM_ScanHuffmanInfo(session) == 1);
    });
    const auto rectangle = [&] {
        require(VORELBRIM_DecodeRegion(session, pixels, jpeg.width, jpeg.height, jpeg.width / 2, jpeg.height / 2, kSide,
                                       kSide, 1) == 1);
    };
    out.rectangle = counted(rectangle);
    out.kept = counted([&] {
        rectangle();
        rectangle();
    });
    VORELBRIM_DestroyJpegInfo(session);
    VORELBRIM_DestroyDecInfo(session);
    return out;
}

int64_t of_peer(const Row &row, const Jpeg &jpeg, Output *output) {
    prepare_peer(row, jpeg, output);
    return counted([&] { require(decode_peer(row, jpeg, output)); });
}

std::string line(const char *name, const std::vector<int64_t> &bytes) {
    char text[200];
    int at = snprintf(text, sizeof text, "%-46s", name);
    for (const int64_t count : bytes)
        at +=
            snprintf(text + at, sizeof text - static_cast<size_t>(at), " %9lld", static_cast<long long>(count / 1024));
    return std::string(text) + "\n";
}

void run(const Filter &, Table &table) {
    table.emit("Heap at its largest in KiB, beside the caller's buffers; 4:2:0, quality 90, RGBA, from a file\n\n");
    std::vector<int64_t> rows[14];
    for (const int megapixels : kMegapixels) {
        const Row baseline{.megapixels = megapixels}, progressive{.megapixels = megapixels, .progressive = true};
        const Jpeg &plain = jpeg_for(baseline), &scans = jpeg_for(progressive);
        Bytes pixels(static_cast<size_t>(plain.width) * static_cast<size_t>(plain.height) * 4);
        uint8_t *out = pixels.data();
        Output peer_output;
        size_t i = 0;
        for (const Jpeg *jpeg : {&plain, &scans}) {
            rows[i++].push_back(whole(*jpeg, out, 1));
            rows[i++].push_back(of_peer(jpeg == &plain ? baseline : progressive, *jpeg, &peer_output));
            rows[i++].push_back(whole(*jpeg, out, 8));
            rows[i++].push_back(in_strips(*jpeg, out));
            const MapHeap map = of_map(*jpeg, out);
            rows[i++].push_back(map.making);
            rows[i++].push_back(map.rectangle);
            rows[i++].push_back(map.kept);
        }
    }
    std::vector<int64_t> heads;
    for (const int megapixels : kMegapixels) heads.push_back(int64_t{megapixels} * 1024);
    table.emit(line("megapixels", heads));
    const char *names[] = {"whole picture",        "  libjpeg-turbo",        "at 1/8",
                           "in strips of 64 rows", "the map, and making it", "a rectangle of 512 x 512, map ready",
                           "  a third time, kept"};
    for (size_t i = 0; i < 14; ++i) {
        if (i % 7 == 0) table.emit(i == 0 ? "baseline\n" : "progressive\n");
        table.emit(line(names[i % 7], rows[i]));
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_memory_bench", vorel_bench::run); }
