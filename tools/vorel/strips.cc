#include "strips.h"

#include <vorel/jpeg_iterative.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "failure.h"

namespace vorel_tool {
namespace {

constexpr int32_t kDefaultRows = 64;

bool in_planes(const PixelFormat &format) {
    return format.layout == Layout::kPlanar || format.layout == Layout::kSemiPlanar;
}

// Luma or pixels, then chroma: bytes of a row, and rows of luma that go with it.
struct Plane {
    size_t row_bytes;
    int32_t step;
};
std::vector<Plane> planes_of(const PixelFormat &format, int32_t width) {
    const auto w = static_cast<size_t>(width);
    if (!in_planes(format)) return {{w * format.pixel_bytes, 1}};
    const size_t half = (w + 1) / 2;
    if (format.layout == Layout::kSemiPlanar) return {{w, 1}, {2 * half, 2}};
    return {{w, 1}, {half, 2}, {half, 2}};
}

int32_t rows_in(const Plane &plane, int32_t rows) { return (rows + plane.step - 1) / plane.step; }

// Puts a strip's rows, without its guard rows, where they belong.
void place_strip(const std::vector<uint8_t> &strip, int32_t guard, int32_t strip_rows, int32_t start, int32_t count,
                 Picture *picture) {
    const uint8_t *from = strip.data();
    uint8_t *to = picture->bytes.data();
    for (const Plane &plane : planes_of(*picture->format, picture->width)) {
        const size_t skip = static_cast<size_t>(guard / plane.step) * plane.row_bytes;
        const size_t first = static_cast<size_t>(start / plane.step) * plane.row_bytes;
        std::memcpy(to + first, from + skip, static_cast<size_t>(rows_in(plane, count)) * plane.row_bytes);
        from += static_cast<size_t>(rows_in(plane, strip_rows)) * plane.row_bytes;
        to += static_cast<size_t>(rows_in(plane, picture->height)) * plane.row_bytes;
    }
}

class Strips {
  public:
    Strips(DecInfo *session, int32_t rows, Picture *picture)
        : session_(session), rows_(rows), guard_(in_planes(*picture->format) ? 2 : 1), picture_(picture) {}

    // The rows [first, end) of a checkpoint's number; number 0 goes through the whole picture.
    bool decode(int number, int32_t first, int32_t end) {
        std::vector<uint8_t> strip(bytes());
        const int32_t width = picture_->width, height = picture_->height;
        for (int32_t start = first;; start += rows_) {
            const int32_t result =
                number == 0 ? VORELBRIM_DecodeJPEGIter4LTN(session_, strip.data(), width, height, VOREL_ITERATE, rows_)
                            : VORELBRIM_DecodeJPEGMidpIter4LTN(session_, strip.data(), width, height, VOREL_ITERATE,
                                                               number, rows_);
            if (result != 4 && result != 1) return false;
            place_strip(strip, guard_, rows_ + 2 * guard_, start, std::min(rows_, end - start), picture_);
            if (result == 1) return true;
        }
    }

  private:
    size_t bytes() const {
        size_t sum = 0;
        for (const Plane &plane : planes_of(*picture_->format, picture_->width))
            sum += static_cast<size_t>(rows_in(plane, rows_ + 2 * guard_)) * plane.row_bytes;
        return sum;
    }

    DecInfo *session_;
    int32_t rows_, guard_;
    Picture *picture_;
};

void load_checkpoints(DecInfo *session, const std::string &path) {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) throw Failure(path + ": " + std::strerror(errno));
    std::vector<uint8_t> bytes(1 << 12);
    const size_t size = std::fread(bytes.data(), 1, bytes.size(), file.get());
    if (!vorel_read_midpoints(session, bytes.data(), static_cast<int32_t>(size)))
        throw Failure(path + ": not a file of checkpoints");
}

// Where the numbers of the session's checkpoints begin, and behind the last one the height; those that have no decoder
// are left out. Number 1 alone where strips of this layout cannot begin there: chroma rows serve pairs of rows.
struct Part {
    int number;
    int32_t first;
};
std::vector<Part> parts_of(DecInfo *session, const Picture &picture) {
    std::vector<Part> parts = {{1, 0}};
    const auto divisor = static_cast<int32_t>((session->imageHeight + 1) / static_cast<uint32_t>(picture.height));
    for (int number = 2; number <= session->midpointCount; ++number) {
        const int32_t first = VORELBRIM_GetJPEGMidPoint(session, divisor, number);
        if (first == 0) continue;
        if (in_planes(*picture.format) && first % 2 != 0) return {{0, 0}, {0, picture.height}};
        parts.push_back({number, first});
    }
    parts.push_back({0, picture.height});
    return parts;
}

}  // namespace

void check_strip_usage(const StripOptions &options, const PixelFormat &format) {
    if (!options.wanted()) return;
    const bool half_chroma =
        in_planes(format) && format.code != COLOR_YUV422 && format.code != COLOR_YUV440 && format.code != COLOR_YUV444;
    if (!half_chroma && (!format.rotates || in_planes(format)))
        throw BadUsage(std::string("--strips and --checkpoints: not for ") + format.name);
    if (half_chroma && options.rows % 2 != 0)
        throw BadUsage(std::string("--strips: pictures in ") + format.name + " need an even number of rows");
}

bool decode_in_strips(Session &session, const StripOptions &options, Picture *picture) {
    DecInfo *decoder = session.get();
    if (!options.checkpoints.empty()) load_checkpoints(decoder, options.checkpoints);
    int32_t ready = 4;
    while (ready == 4) ready = VORELBRIM_PrepareJPEGIter(decoder, picture->width, picture->height);
    if (ready != 1) return false;
    Strips strips(decoder, options.rows ? options.rows : kDefaultRows, picture);
    bool good = true;
    if (decoder->midpointCount == 0) {
        good = strips.decode(0, 0, picture->height);
    } else {
        const std::vector<Part> parts = parts_of(decoder, *picture);
        const size_t count = parts.size() - 1;
        std::atomic<bool> all_good{true};
        std::vector<std::thread> threads;
        for (size_t i = 0; i < count; ++i) {
            threads.emplace_back([&, i] {
                if (!strips.decode(parts[i].number, parts[i].first, parts[i + 1].first)) all_good = false;
            });
        }
        for (std::thread &thread : threads) thread.join();
        good = all_good;
        std::printf("%s: decoded in %zu parts\n", options.checkpoints.c_str(), count);
    }
    VORELBRIM_AbortJPEGIter(decoder);
    return good;
}

}  // namespace vorel_tool
