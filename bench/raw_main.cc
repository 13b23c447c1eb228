// vorel_raw_bench [REGEX] [--results FILE]: raw files developed, whole, small and in part, and lossless ones read,
// against libraw with the same interpolation; rectangles against our own whole develop.
#include <libraw/libraw.h>

#include <vorel/vorel.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

#include "heap.h"
#include "machine.h"
#include "turns.h"

namespace vorel_bench {
namespace {

using Bytes = std::vector<uint8_t>;

// Little-endian TIFF with one directory.
class DngWriter {
  public:
    void put(uint16_t tag, uint16_t type, const std::vector<double> &values) {
        const uint32_t size = type == 3 ? 2 : type == 1 || type == 2 ? 1 : 4;
        const bool rational = type == 5 || type == 10;
        Bytes bytes;
        for (const double value : values) {
            append(bytes, static_cast<uint32_t>(static_cast<int64_t>(std::llround(rational ? value * 10000 : value))),
                   size);
            if (rational) append(bytes, 10000, 4);
        }
        entries_.push_back({tag, type, static_cast<uint32_t>(values.size()), bytes});
    }
    // Tag 273 is added, with the strip behind the directory.
    Bytes finish(const Bytes &strip) {
        put(273, 4, {0});
        std::sort(entries_.begin(), entries_.end(), [](const Entry &a, const Entry &b) { return a.tag < b.tag; });
        Bytes file = {'I', 'I', 42, 0, 8, 0, 0, 0}, values;
        const uint32_t values_at = static_cast<uint32_t>(8 + 2 + 12 * entries_.size() + 4);
        uint32_t strip_at = values_at;
        for (const Entry &entry : entries_)
            strip_at += entry.bytes.size() > 4 ? static_cast<uint32_t>(entry.bytes.size()) : 0;
        strip_at = (strip_at + 15) / 16 * 16;
        append(file, static_cast<uint32_t>(entries_.size()), 2);
        for (Entry &entry : entries_) {
            if (entry.tag == 273) {
                entry.bytes.clear();
                append(entry.bytes, strip_at, 4);
            }
            append(file, entry.tag, 2);
            append(file, entry.type, 2);
            append(file, entry.count, 4);
            if (entry.bytes.size() > 4) {
                append(file, values_at + static_cast<uint32_t>(values.size()), 4);
                values.insert(values.end(), entry.bytes.begin(), entry.bytes.end());
            } else {
                entry.bytes.resize(4);
                file.insert(file.end(), entry.bytes.begin(), entry.bytes.end());
            }
        }
        append(file, 0, 4);
        file.insert(file.end(), values.begin(), values.end());
        file.resize(strip_at);
        file.insert(file.end(), strip.begin(), strip.end());
        return file;
    }

  private:
    struct Entry {
        uint16_t tag, type;
        uint32_t count;
        Bytes bytes;
    };
    static void append(Bytes &out, uint32_t value, uint32_t size) {
        for (uint32_t i = 0; i < size; ++i) out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
    std::vector<Entry> entries_;
};

// 12 bits in words, RGGB: smooth shapes and the noise of a sensor.
Bytes bayer_file(int width, int height) {
    std::mt19937 random(1);
    std::normal_distribution<float> gauss(0, 12);
    std::vector<float> noise(65536), wave(static_cast<size_t>(width));
    for (float &value : noise) value = gauss(random);
    for (int x = 0; x < width; ++x) {
        wave[static_cast<size_t>(x)] =
            static_cast<float>(750 * (1 + std::sin(x * 0.01)) + 300 * (1 + std::sin(x * 0.11)));
    }
    Bytes strip;
    strip.reserve(static_cast<size_t>(width) * static_cast<size_t>(height) * 2);
    constexpr float kGains[2][2] = {{0.55f, 1}, {1, 0.7f}};
    for (int y = 0; y < height; ++y) {
        const float fall = 0.6f + 0.4f * static_cast<float>(std::cos(y * 0.007));
        const uint32_t first = random();
        for (int x = 0; x < width; ++x) {
            const float value = 64 + wave[static_cast<size_t>(x)] * fall * kGains[y % 2][x % 2] +
                                noise[(first + static_cast<uint32_t>(x) * 7) % 65536];
            const int code = std::clamp(static_cast<int>(value), 0, 4095);
            strip.push_back(static_cast<uint8_t>(code));
            strip.push_back(static_cast<uint8_t>(code >> 8));
        }
    }
    DngWriter dng;
    dng.put(254, 4, {0});
    dng.put(256, 4, {static_cast<double>(width)});
    dng.put(257, 4, {static_cast<double>(height)});
    dng.put(258, 3, {16});
    dng.put(259, 3, {1});
    dng.put(262, 3, {32803});
    dng.put(271, 2, {'V', 0});
    dng.put(272, 2, {'B', 0});
    dng.put(277, 3, {1});
    dng.put(278, 4, {static_cast<double>(height)});
    dng.put(279, 4, {static_cast<double>(strip.size())});
    dng.put(33421, 3, {2, 2});
    dng.put(33422, 1, {0, 1, 1, 2});
    dng.put(50706, 1, {1, 4, 0, 0});
    dng.put(50708, 2, {'V', ' ', 'B', 0});
    dng.put(50713, 3, {2, 2});
    dng.put(50714, 3, {64, 64, 64, 64});
    dng.put(50717, 3, {4095});
    dng.put(50721, 10, {0.9, -0.25, -0.03, -0.4, 1.22, 0.2, -0.06, 0.15, 0.65});
    dng.put(50722, 10, {0.8, -0.22, -0.08, -0.45, 1.25, 0.22, -0.1, 0.2, 0.55});
    dng.put(50728, 5, {0.48, 1, 0.62});
    dng.put(50778, 3, {17});
    dng.put(50779, 3, {21});
    return dng.finish(strip);
}

int32_t length_of(const Bytes &file) { return static_cast<int32_t>(file.size()); }

decInfo parsed(const Bytes &file) {
    decInfo info = {};
    info.acceptLossless = 1;
    if (parseDNGImageBuffer(file.data(), length_of(file), &info) != 0 || !info.width)
        throw std::runtime_error("no DNG");
    if (info.cropWidth > 0) info.width = static_cast<uint32_t>(info.cropWidth);
    if (info.cropHeight > 0) info.height = static_cast<uint32_t>(info.cropHeight);
    return info;
}

void develop(const Bytes &file, decInfo info, Bytes *out) {
    decodeDNGImageBuffer(file.data(), length_of(file), out->data(), &info);
    if (info.progress != 100) throw std::runtime_error("a develop failed");
}

// libraw's bilinear interpolation, the camera's white balance, 8 bits in sRGB, nothing else.
void develop_peer(const Bytes &file, bool half) {
    LibRaw raw;
    raw.imgdata.params.user_qual = 0;
    raw.imgdata.params.half_size = half;
    raw.imgdata.params.use_camera_wb = 1;
    raw.imgdata.params.no_auto_bright = 1;
    raw.imgdata.params.output_bps = 8;
    int error = raw.open_buffer(const_cast<uint8_t *>(file.data()), file.size());
    if (!error) error = raw.unpack();
    if (!error) error = raw.dcraw_process();
    libraw_processed_image_t *image = error ? nullptr : raw.dcraw_make_mem_image(&error);
    if (!image) throw std::runtime_error("libraw failed");
    LibRaw::dcraw_clear_mem(image);
}

void unpack_peer(const Bytes &file) {
    LibRaw raw;
    if (raw.open_buffer(const_cast<uint8_t *>(file.data()), file.size()) || raw.unpack())
        throw std::runtime_error("libraw failed");
}

void read_samples(const Bytes &file) {
    decInfo info = {};
    info.acceptLossless = 1;
    if (parseDNGImageBuffer_for_RD(file.data(), length_of(file), &info) != 0) throw std::runtime_error("a read failed");
    finalizeHandle(&info);
}

void run(const Filter &filter, Table &table) {
    table.emit(
        "Raw files: 12 megapixels of 12 bits in words, RGGB, from memory to RGBA; by the clock\n" + machine_line() +
        "\ndevelop: whole; peer: libraw, bilinear, 8 bits, white balance of the camera, OpenMP as Debian builds it\n"
        "preview: 1152 x 864 from the mosaic; peer: libraw's half size\n"
        "region:  512 x 512 from an open handle; peer: our whole develop\n"
        "lossless: samples of a lossless JPEG file of the shared pictures, one thread; peer: libraw's unpack()\n" +
        kTurnColumns);
    const TurnEffort effort = {4, 7, 31};
    const Bytes file = bayer_file(4000, 3000);
    const decInfo info = parsed(file);
    Bytes whole(size_t{info.width} * info.height * 4);
    if (filter.wants("develop/12MP")) {
        Turns turns = measure_in_turns([&] { develop(file, info, &whole); }, [&] { develop_peer(file, false); }, {},
                                       true, effort);
        table.emit(line_of("develop/12MP", &turns, 0));
        start_heap_count();
        develop(file, info, &whole);
        char note[100];
        snprintf(note, sizeof note, "    heap beside input and output %.1f MB\n",
                 static_cast<double>(stop_heap_count()) / 1e6);
        table.emit(note);
    }
    if (filter.wants("preview/1MP")) {
        Bytes small(1152 * 864 * 4);
        Turns turns = measure_in_turns(
            [&] {
                decInfo record = {};
                if (vorel_dng_develop_preview(file.data(), length_of(file), small.data(), 1152, 864, &record) != 1)
                    throw std::runtime_error("a preview failed");
            },
            [&] { develop_peer(file, true); }, {}, true, effort);
        table.emit(line_of("preview/1MP", &turns, 0));
    }
    if (filter.wants("region/512")) {
        decInfo handle = {};
        if (parseDNGImageBuffer_for_RD(file.data(), length_of(file), &handle) != 0)
            throw std::runtime_error("no handle");
        Bytes part(512 * 512 * 4);
        int32_t step = 0;
        Turns turns = measure_in_turns(
            [&] {
                decInfo record = {};
                record.handle = handle.handle, record.width = record.height = 512;
                step = (step + 37) % 1000;
                record.regionTop = 900 + step, record.regionBottom = record.regionTop + 512;
                record.regionLeft = 1500 + step, record.regionRight = record.regionLeft + 512;
                decodeDNGImageBuffer_for_RD(file.data(), length_of(file), part.data(), &record);
            },
            [&] { develop(file, info, &whole); }, {}, true, effort);
        finalizeHandle(&handle);
        table.emit(line_of("region/512", &turns, 0));
    }
    const std::filesystem::path lossless = std::filesystem::path(VOREL_CORPUS) / "dng" / "tm_bmpcc_lossless.dng";
    if (filter.wants("lossless/2MP") && std::filesystem::exists(lossless)) {
        std::ifstream stream(lossless, std::ios::binary);
        const Bytes compressed{std::istreambuf_iterator<char>(stream), {}};
        Turns turns = measure_in_turns([&] { read_samples(compressed); }, [&] { unpack_peer(compressed); }, {}, false,
                                       {1, 9, 61});
        table.emit(line_of("lossless/2MP", &turns, 0));
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_raw_bench", vorel_bench::run); }
