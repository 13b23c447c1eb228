// vorel_size_bench [REGEX] [--results FILE]: what a megapixel costs in time, and a decode in memory, by the size of the
// picture, from one megapixel to the most that is decoded. REGEX chooses among the ways.
#include <vorel/vorel.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "heap.h"
#include "machine.h"
#include "picture.h"
#include "turns.h"

namespace vorel_bench {
namespace {

struct Size {
    int width, height;
    double megapixels() const { return 1e-6 * width * height; }
};
// The last one has a pixel less than 225 million.
constexpr Size kSizes[] = {{1152, 864}, {4000, 3008}, {7296, 5472}, {11552, 8656}, {14999, 15001}};
constexpr int kSide = 512;

void require(bool holds) {
    if (!holds) throw std::runtime_error("a decode failed");
}

// The 12-megapixel photograph beside itself and below itself, mirrored each time, so that every size has its bits a
// pixel and no seams; a row at a time.
class Tiled {
  public:
    Tiled() : samples_(samples_for(12)) {}
    void row(int y, int width, Bytes *out) const {
        out->resize(size_t{3} * static_cast<size_t>(width));
        const int source = mirrored(y, samples_.height);
        const uint8_t *from =
            &samples_.bytes[size_t{3} * static_cast<size_t>(source) * static_cast<size_t>(samples_.width)];
        for (int x = 0; x < width; ++x)
            std::memcpy(&(*out)[size_t{3} * static_cast<size_t>(x)],
                        from + size_t{3} * static_cast<size_t>(mirrored(x, samples_.width)), 3);
    }

  private:
    static int mirrored(int at, int side) { return at / side % 2 ? side - 1 - at % side : at % side; }
    Samples samples_;
};

Bytes encoded(const Tiled &picture, const Size &size, bool progressive) {
    Bytes row;
    return compressed({.progressive = progressive}, size.width, size.height, [&](int y) {
        picture.row(y, size.width, &row);
        return row.data();
    });
}

using Decode = decltype(VORELBRIM_DecodeJPEG);
int32_t by_threads(DecInfo *session, void *output, int32_t width, int32_t height) {
    return VORELBRIM_PDecodeJPEG_No_RST(session, output, width, height, 1);
}

DecInfo *open(const Bytes &jpeg, uint32_t options) {
    DecInfo *session = VORELBRIM_CreateDecInfo(1, const_cast<uint8_t *>(jpeg.data()), static_cast<int32_t>(jpeg.size()),
                                               COLOR_RGBA8888, options);
    ImageInfo info;
    require(session && VORELBRIM_Parser(session, &info) == VOREL_IMAGE_JPEG);
    return session;
}

void decode(const Bytes &jpeg, uint32_t options, int width, int height, Decode *decode, Bytes *pixels) {
    DecInfo *session = open(jpeg, options);
    require(decode(session, pixels->data(), width, height) == 1);
    VORELBRIM_DestroyDecInfo(session);
}

struct Cost {
    double milliseconds;
    int64_t heap;
};
Cost cost_of(const std::function<void()> &work, bool threads) {
    start_heap_count();
    work();
    const int64_t heap = stop_heap_count();
    Times times;
    for (double spent = 0; times.seconds.size() < 3 || (spent < 1 && times.seconds.size() < 41);) {
        times.seconds.push_back(seconds_of(work, threads));
        spent += times.seconds.back();
    }
    return {times.median() * 1e3, heap};
}

enum class Way { kWhole, kThreads, kEighth, kScreen, kRectangle, kKept, kProgressive, kCount };
constexpr const char *kNames[] = {"whole",     "whole, two threads", "at 1/8",     "fit to 1080 x 2400",
                                  "rectangle", "rectangle, kept",    "progressive"};

// `pixels` has memory for the whole picture.
Cost measured(Way way, const Bytes &jpeg, const Size &size, Bytes *pixels) {
    const int w = size.width, h = size.height;
    if (way == Way::kRectangle || way == Way::kKept) {
        DecInfo *session = open(jpeg, VOREL_OPTION_REGION);
        require(VORELBRIM_ScanHuffmanInfo(session) == 1);
        if (way == Way::kRectangle) vorel_jpeg_set_region_memory(session, 0);
        const auto rectangle = [&] {
            require(VORELBRIM_DecodeRegion(session, pixels->data(), w, h, w / 2 - kSide / 2, h / 2 - kSide / 2, kSide,
                                           kSide, 1) == 1);
        };
        for (int i = 0; way == Way::kKept && i < 2; ++i) rectangle();
        const Cost cost = cost_of(rectangle, false);
        VORELBRIM_DestroyJpegInfo(session);
        VORELBRIM_DestroyDecInfo(session);
        return cost;
    }
    const bool threads = way == Way::kThreads, ahead = way == Way::kEighth || way == Way::kScreen;
    return cost_of(
        [&] {
            if (way == Way::kEighth)
                return decode(jpeg, VOREL_OPTION_FIT_STRETCH, w / 8, h / 8, VORELBRIM_DecodeJPEG, pixels);
            if (way == Way::kScreen)
                return decode(jpeg, VOREL_OPTION_FIT_PACKED, 1080, 2400, VORELBRIM_DecodeJPEG, pixels);
            decode(jpeg, 0, w, h, threads ? by_threads : VORELBRIM_DecodeJPEG, pixels);
        },
        threads || ahead);
}

std::string line(const std::string &name, const std::vector<double> &numbers, const char *format) {
    char text[64];
    std::snprintf(text, sizeof text, "%-30s", name.c_str());
    std::string out = text;
    for (const double number : numbers) {
        std::snprintf(text, sizeof text, format, number);
        out += text;
    }
    return out + "\n";
}

void run(const Filter &filter, Table &table) {
    table.emit(
        "Cost by size: 4:2:0, quality 90, RGBA, from memory\n" + machine_line() +
        "\nTime a megapixel of the picture, of the processor for one thread, of the clock for two, which 1/8 takes by\n"
        "itself; rectangles of 512 x 512 by themselves, map ready, kept: shown before. Heap at its largest beside\n"
        "the caller's buffers, the map and what is kept.\n\n");
    constexpr int kWays = static_cast<int>(Way::kCount);
    std::vector<double> megapixels, bits, times[kWays], heaps[kWays];
    const Tiled picture;
    for (const Size &size : kSizes) {
        megapixels.push_back(size.megapixels());
        Bytes pixels(size_t{4} * static_cast<size_t>(size.width) * static_cast<size_t>(size.height));
        Bytes jpeg = encoded(picture, size, false);
        bits.push_back(8e-6 * static_cast<double>(jpeg.size()) / size.megapixels());
        for (int i = 0; i < kWays; ++i) {
            const Way way = static_cast<Way>(i);
            if (!filter.wants(kNames[i])) continue;
            if (way == Way::kProgressive) jpeg = encoded(picture, size, true);
            const Cost cost = measured(way, jpeg, size, &pixels);
            const bool rectangle = way == Way::kRectangle || way == Way::kKept;
            times[i].push_back(cost.milliseconds / (rectangle ? 1 : size.megapixels()));
            heaps[i].push_back(static_cast<double>(cost.heap) / 1024);
        }
    }
    table.emit(line("megapixels", megapixels, " %9.2f") + line("bits a pixel", bits, " %9.2f"));
    table.emit("\nms a megapixel; ms a rectangle\n");
    for (int i = 0; i < kWays; ++i)
        if (!times[i].empty()) table.emit(line(kNames[i], times[i], " %9.2f"));
    table.emit("\nheap, KiB\n");
    for (int i = 0; i < kWays; ++i)
        if (!heaps[i].empty()) table.emit(line(kNames[i], heaps[i], " %9.0f"));
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_size_bench", vorel_bench::run); }
